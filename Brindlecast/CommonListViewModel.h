// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <Brindlecast/CommonListItemData.h>
#include <Brindlecast/brindlecast_export.h>

#include <QAbstractListModel>
#include <QByteArray>
#include <QHash>
#include <QJsonObject>
#include <QScopedPointer>
#include <QSharedPointer>
#include <QStringList>

class CommonListViewModelPrivate;

/**
 * A list model over CommonListItemData records, for QML.
 *
 * The owner names the roles once with setRoleNamesOfRow(), then fills and edits the rows. A view reads the value that
 * a row's record holds under a key through the role of that name; `count` and get() serve scripts. Views can't write:
 * flags() and setData() are those of QAbstractListModel.
 *
 * The model keeps copies of its own of every record it is given, never hands a record out, and destroys a record when
 * its row is removed. Rows have no identity but their position. Role names and rows are independent of each other.
 *
 * Every change but addItemData() resets the whole model: views reload all rows, and a current index or selection kept
 * by a view is lost. To change many rows at once, build a list and call setListData(), or take the model off its views
 * meanwhile.
 *
 * An index is a row number counted from 0. An index outside the range that an operation accepts ends the call without
 * any effect, signal or message.
 *
 * The signals of a change come in this order: modelAboutToBeReset(), modelReset(), then, from clear() and setListData()
 * alone, countUpdated(). Insertion, removal and replacement of single rows do not emit countUpdated(), so a binding to
 * `count` does not follow them; addItemData() does emit it.
 *
 * A slot connected directly to the reset signals may call any operation of the same model, but must not delete it other
 * than by deleteLater(). If such a slot, or another thread, removes the row that an operation was about to change, the
 * operation announces its reset and changes nothing.
 *
 * Thread safety: operations that reset exclude one another through a recursive mutex, which they hold while their reset
 * signals are out. Readers, setRoleNamesOfRow(), addItemData() and the destructor take no lock. Use the model on the
 * thread of its views.
 */
class BRINDLECAST_EXPORT CommonListViewModel : public QAbstractListModel
{
    Q_OBJECT
    Q_DISABLE_COPY(CommonListViewModel)
    Q_DECLARE_PRIVATE(CommonListViewModel)

    /** The number of rows. Notified by countUpdated() only, which not every change of the number emits. */
    Q_PROPERTY(int count READ count NOTIFY countUpdated)

public:
    /** Makes a model without role names and rows. `parent` may be null: hosts then hold it by shared pointer. */
    explicit CommonListViewModel(QObject *parent);

    /** Destroys all records. Emits no signal but QObject's. */
    ~CommonListViewModel() override;

    /**
     * Returns the number of rows, whatever `parent` is. Views of lists never ask for a row's children; Qt's
     * QAbstractItemModelTester does, and complains.
     */
    int rowCount(const QModelIndex &parent) const override;

    /**
     * Returns the value of `role` in the row of `index`.
     *
     * Only the row of `index` is looked at. Returns an invalid QVariant for a row or role that does not exist (the
     * standard roles, such as Qt::DisplayRole, never do) and for a key that the row's record lacks.
     */
    QVariant data(const QModelIndex &index, int role) const override;

    /**
     * Names the roles: position i becomes role Qt::UserRole + 1 + i and shows the value stored under that key.
     *
     * Announces nothing, so call it before a view is attached: views read the names once.
     */
    void setRoleNamesOfRow(const QStringList &roleNames);

    /** Returns the number of rows. */
    int count();

    /**
     * Returns all values of row `index`, those without a role name included, converted by QJsonValue::fromVariant().
     *
     * Returns an empty object for an index outside 0 to count() - 1.
     */
    Q_INVOKABLE QJsonObject get(int index);

    /** Appends a copy of `data`. The one change that is announced as an insertion; then emits countUpdated(). */
    void addItemData(const CommonListItemData &data);

    /** Inserts a copy of `data` before row `index`, 0 to count() - 1. Appending is the work of addItemData(). */
    void insertItemDataAt(int index, const CommonListItemData &data);

    /** Replaces all values of row `index`, 0 to count() - 1, by those of `data`. Keys that `data` lacks are gone. */
    void updateItemDataAt(int index, const CommonListItemData &data);

    /** Stores `val` under `key` in row `index`, 0 to count() - 1. */
    void setItemValue(int index, const QString &key, const QVariant &val);

    /** Swaps row `index`, 1 to count() - 1, with the row above it. */
    void moveUpItemDataAt(int index);

    /** Swaps row `index`, 0 to count() - 2, with the row below it. */
    void moveDownItemDataAt(int index);

    /** Removes row `index`, 0 to count() - 1. Does not emit countUpdated(). */
    void removeItemDataAt(int index);

    /** Removes all rows; the role names stay. Emits its signals on an empty model, too. */
    void clear();

    /** Replaces all rows by copies of the records of `list`. Emits its signals even if both are empty. */
    void setListData(const CommonItemDataList &list);

Q_SIGNALS:
    /** Emitted by addItemData(), clear() and setListData() after the change, with the mutex free. */
    void countUpdated();

protected:
    /** Returns the role numbers with their names in the local 8-bit encoding. */
    QHash<int, QByteArray> roleNames() const override;

private:
    QScopedPointer<CommonListViewModelPrivate> d_ptr;
};

/** How a model is shared between its owner and its views. It is deleted with the last pointer. */
using CommonListViewModelPointer = QSharedPointer<CommonListViewModel>;
