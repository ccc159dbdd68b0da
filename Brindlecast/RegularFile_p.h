// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QtGlobal>

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

/** A regular file opened for reading, or why it is not. Follows links; never opens folders, FIFOs and devices. */
class RegularFile
{
public:
    enum class State {
        Open,
        Missing,
        OfOtherKind,
        Unreadable ///< error() says why
    };
    /** Differs between any two files that exist at the same time. */
    using Identity = std::pair<dev_t, ino_t>;

    explicit RegularFile(const QByteArray &path)
        : m_error(open(path))
    {
        if (m_error == ENOENT || m_error == ENOTDIR)
            m_state = State::Missing;
        else if (m_error != 0)
            m_state = State::Unreadable;
        else if (!S_ISREG(m_status.st_mode))
            m_state = State::OfOtherKind;
    }
    ~RegularFile()
    {
        if (m_descriptor >= 0)
            ::close(m_descriptor);
    }
    Q_DISABLE_COPY(RegularFile)

    State state() const { return m_state; }
    /** As errno; 0 for none. */
    int error() const { return m_error; }
    int descriptor() const { return m_descriptor; }
    /** The size when the file was opened. */
    qint64 size() const { return m_status.st_size; }
    mode_t mode() const { return m_status.st_mode; }
    Identity identity() const { return {m_status.st_dev, m_status.st_ino}; }

private:
    int open(const QByteArray &path)
    {
        if (path.contains('\0')) // The system would read the path up to the NUL only.
            return ENOENT;
        // Checked before it is opened, because opening a device can have effects of its own.
        if (::stat(path.constData(), &m_status) != 0)
            return errno;
        if (!S_ISREG(m_status.st_mode))
            return 0;
        m_descriptor = ::open(path.constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
        return m_descriptor >= 0 && ::fstat(m_descriptor, &m_status) == 0 ? 0 : errno;
    }

    struct stat m_status = {};
    int m_descriptor = -1;
    const int m_error;
    State m_state = State::Open;
};
