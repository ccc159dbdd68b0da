// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "CommonListItemData.h"

CommonListItemData::CommonListItemData(QObject *parent)
    : QObject(parent)
{
}

CommonListItemData::CommonListItemData(const CommonListItemData &other)
    : QObject(nullptr)
{
    copyFrom(other);
}

CommonListItemData::~CommonListItemData()
{
    m_map.clear();
}

CommonListItemData &CommonListItemData::operator=(const CommonListItemData &other)
{
    copyFrom(other);
    return *this;
}

void CommonListItemData::setValue(const QString &key, const QVariant &value)
{
    m_map.insert(key, value);
}

QVariant CommonListItemData::getValue(const QString &key) const
{
    return m_map.value(key);
}

QStringList CommonListItemData::keys() const
{
    return m_map.keys();
}

void CommonListItemData::getAllData(QMap<QString, QVariant> &map) const
{
    map = m_map;
}

void CommonListItemData::setData(const QMap<QString, QVariant> &map)
{
    m_map = map;
}

void CommonListItemData::copyFrom(const CommonListItemData &other)
{
    QMap<QString, QVariant> values;
    other.getAllData(values);
    setData(values);
}
