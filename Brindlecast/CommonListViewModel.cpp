// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "CommonListViewModel.h"

#include <QJsonValue>

#include <mutex>

namespace {

constexpr int kRoleBase = Qt::UserRole + 1;

} // namespace

class CommonListViewModelPrivate
{
    Q_DISABLE_COPY(CommonListViewModelPrivate)
    Q_DECLARE_PUBLIC(CommonListViewModel)

public:
    explicit CommonListViewModelPrivate(CommonListViewModel *q)
        : q_ptr(q)
    {
    }

    void init();
    void uninit();

    void destroyRecords();
    CommonListItemData *record(int index) const { return static_cast<CommonListItemData *>(objectList.at(index)); }
    bool isRow(int index, int rowsAbove = 0, int rowsBelow = 0) const
    {
        return index >= rowsAbove && index < objectList.size() - rowsBelow;
    }

    template <typename Accept, typename Change> void changeIf(Accept accept, Change change);
    template <typename Change> void changeRow(int index, Change change, int rowsAbove = 0, int rowsBelow = 0);
    template <typename Change> void changeAllRows(Change change);

    CommonListViewModel *q_ptr;
    QStringList roleNames;
    QObjectList objectList;
    std::recursive_mutex *mutex = nullptr;
};

void CommonListViewModelPrivate::init()
{
    roleNames.clear();
    objectList.clear();
    if (!mutex)
        mutex = new std::recursive_mutex;
}

void CommonListViewModelPrivate::uninit()
{
    destroyRecords();
    roleNames.clear();
    delete mutex;
    mutex = nullptr;
}

void CommonListViewModelPrivate::destroyRecords()
{
    qDeleteAll(objectList);
    objectList.clear();
}

// The frame of every change but an appended row.
template <typename Accept, typename Change> void CommonListViewModelPrivate::changeIf(Accept accept, Change change)
{
    Q_Q(CommonListViewModel);
    if (!accept())
        return;
    const std::lock_guard<std::recursive_mutex> lock(*mutex);
    q->beginResetModel();
    // The row may be gone by now: another thread came first, or a slot of the signal just sent removed it.
    if (accept())
        change();
    q->endResetModel();
}

template <typename Change>
void CommonListViewModelPrivate::changeRow(int index, Change change, int rowsAbove, int rowsBelow)
{
    changeIf([this, index, rowsAbove, rowsBelow] { return isRow(index, rowsAbove, rowsBelow); }, change);
}

template <typename Change> void CommonListViewModelPrivate::changeAllRows(Change change)
{
    changeIf([] { return true; }, change);
}

CommonListViewModel::CommonListViewModel(QObject *parent)
    : QAbstractListModel(parent)
    , d_ptr(new CommonListViewModelPrivate(this))
{
    d_ptr->init();
}

CommonListViewModel::~CommonListViewModel()
{
    d_ptr->uninit();
}

int CommonListViewModel::rowCount(const QModelIndex &parent) const
{
    Q_UNUSED(parent)
    Q_D(const CommonListViewModel);
    return static_cast<int>(d->objectList.size());
}

QVariant CommonListViewModel::data(const QModelIndex &index, int role) const
{
    Q_D(const CommonListViewModel);
    if (!d->isRow(index.row()) || role < kRoleBase || role - kRoleBase >= d->roleNames.size())
        return {};
    return d->record(index.row())->getValue(d->roleNames.at(role - kRoleBase));
}

QHash<int, QByteArray> CommonListViewModel::roleNames() const
{
    Q_D(const CommonListViewModel);
    QHash<int, QByteArray> names;
    for (int i = 0; i < d->roleNames.size(); ++i)
        names.insert(kRoleBase + i, d->roleNames.at(i).toLocal8Bit());
    return names;
}

void CommonListViewModel::setRoleNamesOfRow(const QStringList &roleNames)
{
    Q_D(CommonListViewModel);
    d->roleNames = roleNames;
}

int CommonListViewModel::count()
{
    Q_D(const CommonListViewModel);
    return static_cast<int>(d->objectList.size());
}

QJsonObject CommonListViewModel::get(int index)
{
    Q_D(const CommonListViewModel);
    QJsonObject values;
    if (!d->isRow(index))
        return values;
    const CommonListItemData *record = d->record(index);
    const QStringList keys = record->keys();
    for (const QString &key : keys)
        values.insert(key, QJsonValue::fromVariant(record->getValue(key)));
    return values;
}

void CommonListViewModel::addItemData(const CommonListItemData &data)
{
    Q_D(CommonListViewModel);
    beginInsertRows(QModelIndex(), rowCount(QModelIndex()), rowCount(QModelIndex()));
    d->objectList.append(new CommonListItemData(data));
    endInsertRows();
    Q_EMIT countUpdated();
}

void CommonListViewModel::insertItemDataAt(int index, const CommonListItemData &data)
{
    Q_D(CommonListViewModel);
    d->changeRow(index, [d, index, &data] { d->objectList.insert(index, new CommonListItemData(data)); });
}

void CommonListViewModel::updateItemDataAt(int index, const CommonListItemData &data)
{
    Q_D(CommonListViewModel);
    d->changeRow(index, [d, index, &data] { d->record(index)->copyFrom(data); });
}

void CommonListViewModel::setItemValue(int index, const QString &key, const QVariant &val)
{
    Q_D(CommonListViewModel);
    d->changeRow(index, [d, index, &key, &val] { d->record(index)->setValue(key, val); });
}

void CommonListViewModel::moveUpItemDataAt(int index)
{
    Q_D(CommonListViewModel);
    const auto moveUp = [d, index] { d->objectList.move(index, index - 1); };
    d->changeRow(index, moveUp, 1, 0);
}

void CommonListViewModel::moveDownItemDataAt(int index)
{
    Q_D(CommonListViewModel);
    const auto moveDown = [d, index] { d->objectList.move(index, index + 1); };
    d->changeRow(index, moveDown, 0, 1);
}

void CommonListViewModel::removeItemDataAt(int index)
{
    Q_D(CommonListViewModel);
    d->changeRow(index, [d, index] { delete d->objectList.takeAt(index); });
}

void CommonListViewModel::clear()
{
    Q_D(CommonListViewModel);
    d->changeAllRows([d] { d->destroyRecords(); });
    Q_EMIT countUpdated();
}

void CommonListViewModel::setListData(const CommonItemDataList &list)
{
    Q_D(CommonListViewModel);
    d->changeAllRows([d, &list] {
        d->destroyRecords();
        d->objectList.reserve(list.size());
        for (const CommonListItemData &data : list)
            d->objectList.append(new CommonListItemData(data));
    });
    Q_EMIT countUpdated();
}
