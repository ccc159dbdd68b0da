// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

/** Registers what the screen's QML names, and chooses style and font. After the application object is made. */
void setUpScreen();
