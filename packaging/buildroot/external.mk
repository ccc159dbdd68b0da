# SPDX-FileCopyrightText: 2026 The Brindlecast developers
# SPDX-License-Identifier: MIT

include $(sort $(wildcard $(BR2_EXTERNAL_BRINDLECAST_PATH)/package/*/*.mk))
