// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <Brindlecast/brindlecast_export.h>

#include <QList>
#include <QMap>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariant>

/**
 * One row of a list: a set of named values, such as a file's name and its selection mark.
 *
 * A producer fills a record and hands it to a CommonListViewModel, which keeps a copy and shows each value under the
 * role of the same name. A record has value semantics although it is a QObject: copies share nothing that a later
 * change of either would show.
 *
 * Keys are case-sensitive, occur once and are kept in ascending order of their UTF-16 code units, so "B" comes before
 * "a". Any QVariant may be stored. An invalid one is stored like any other, which only keys() can tell from an absent
 * key.
 *
 * Thread safety: reentrant. A record belongs to one thread at a time.
 */
class BRINDLECAST_EXPORT CommonListItemData : public QObject // clazy:exclude=copyable-polymorphic
{
    Q_OBJECT

public:
    /** Makes an empty record. `parent` may be null and, if not, owns the record as usual. */
    explicit CommonListItemData(QObject *parent);

    /** Copies the values of `other` alone: the copy has no parent, no object name and no dynamic properties. */
    CommonListItemData(const CommonListItemData &other);

    ~CommonListItemData() override;

    /** Replaces all values by those of `other`; parent, object name and dynamic properties stay. @sa copyFrom() */
    CommonListItemData &operator=(const CommonListItemData &other);

    /** Stores `value` under `key`, in place of the value that the key had, if any. */
    void setValue(const QString &key, const QVariant &value);

    /** Returns the value stored under `key`, or an invalid QVariant when there is none. */
    QVariant getValue(const QString &key) const;

    /** Returns all keys in ascending order. */
    QStringList keys() const;

    /** Replaces the content of `map` by the record's values. What `map` held before is gone: nothing is merged. */
    void getAllData(QMap<QString, QVariant> &map) const;

    /** Replaces the record's values by those of `map`. Keys that `map` lacks are gone: nothing is merged. */
    void setData(const QMap<QString, QVariant> &map);

    /** Replaces the record's values by those of `other`, which may be the record itself. */
    void copyFrom(const CommonListItemData &other);

private:
    QMap<QString, QVariant> m_map;
};

/** Records in row order. Each element is a copy on the heap, so a list that detaches copies every record. */
using CommonItemDataList = QList<CommonListItemData>;
