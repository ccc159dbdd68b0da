// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include "LogTail.h"

#include <Brindlecast/ExportJob.h>

#include <qqml.h>

// The QML names of classes that do not depend on QML.

struct ExportJobType
{
    Q_GADGET
    QML_FOREIGN(ExportJob)
    QML_NAMED_ELEMENT(ExportJob)
    QML_UNCREATABLE("An ExportJob is the property \"job\" of a LogExport.")
};

struct LogTailType
{
    Q_GADGET
    QML_FOREIGN(LogTail)
    QML_NAMED_ELEMENT(LogTail)
};
