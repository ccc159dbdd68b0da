// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <Brindlecast/CommonListViewModel.h>
#include <Brindlecast/ExportJob.h>
#include <Brindlecast/ExportLogViewModel.h>

#include <qqml.h>

// What QML calls the classes that know nothing of it.

struct ExportJobType
{
    Q_GADGET
    QML_FOREIGN(ExportJob)
    QML_NAMED_ELEMENT(ExportJob)
    QML_UNCREATABLE("An ExportJob is the property \"job\" of a LogExport.")
};

struct ExportLogViewModelType
{
    Q_GADGET
    QML_FOREIGN(ExportLogViewModel)
    QML_ANONYMOUS
};

struct CommonListViewModelType
{
    Q_GADGET
    QML_FOREIGN(CommonListViewModel)
    QML_ANONYMOUS
};
