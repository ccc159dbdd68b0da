// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <Brindlecast/QtDebugLogger.h>

#include <QCoreApplication>

#ifdef __SANITIZE_THREAD__

extern "C" {
void __tsan_acquire(void *address); // NOLINT(bugprone-reserved-identifier): the sanitizer's own names
void __tsan_release(void *address); // NOLINT(bugprone-reserved-identifier)
}

/**
 * Qt itself is not built for the sanitizer, so its queue has to be told: what a thread did before it copied a request
 * into the queue happens before what any receiver does with an event later.
 */
class Application : public QCoreApplication // clazy:exclude=missing-qobject-macro
{
public:
    Application(int &argumentCount, char **arguments)
        : QCoreApplication(argumentCount, arguments)
    {
        // Before the logger registers its own functions for the type.
        QMetaType::registerNormalizedType(
            "QSharedPointer<FileIOObject>", TypeFunctions::Destruct, copy, sizeof(FileIOObjectPointer),
            QMetaType::TypeFlags(QtPrivate::QMetaTypeTypeFlags<FileIOObjectPointer>::Flags), nullptr);
    }
    Q_DISABLE_COPY(Application)

    bool notify(QObject *receiver, QEvent *event) override
    {
        __tsan_acquire(&queue);
        return QCoreApplication::notify(receiver, event);
    }

private:
    using TypeFunctions = QtMetaTypePrivate::QMetaTypeFunctionHelper<FileIOObjectPointer>;

    static void *copy(void *at, const void *request)
    {
        void *const copied = TypeFunctions::Construct(at, request);
        __tsan_release(&queue);
        return copied;
    }

    inline static char queue = 0;
};

#else
using Application = QCoreApplication;
#endif
