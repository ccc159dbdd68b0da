// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include "Glyph.h"

#include <QPainter>
#include <QPainterPath>
#include <QPen>
#include <QPolygonF>

namespace {

constexpr qreal kSize = 24;

void addLine(QPainterPath &path, const QVector<QPointF> &points)
{
    path.addPolygon(QPolygonF(points));
}

void addDot(QPainterPath &path, qreal x, qreal y)
{
    addLine(path, {{x, y}, {x, y + 0.1}});
}

QPainterPath pathOf(const QString &name)
{
    QPainterPath path;
    if (name == QLatin1String("check")) {
        addLine(path, {{5, 12.5}, {10, 17.5}, {19.5, 7}});
    } else if (name == QLatin1String("dash")) {
        addLine(path, {{6, 12}, {18, 12}});
    } else if (name == QLatin1String("stick")) {
        path.addRoundedRect(5, 9, 14, 13, 3, 3);
        path.addRect(8, 2, 8, 7);
        addDot(path, 10.8, 5.5);
        addDot(path, 13.2, 5.5);
    } else if (name == QLatin1String("page")) {
        addLine(path, {{14, 2}, {5, 2}, {5, 22}, {19, 22}, {19, 7}, {14, 2}, {14, 7}, {19, 7}});
        addLine(path, {{9, 12}, {15, 12}});
        addLine(path, {{9, 16.5}, {15, 16.5}});
    } else if (name == QLatin1String("alert")) {
        addLine(path, {{12, 3}, {22, 20.5}, {2, 20.5}, {12, 3}});
        addLine(path, {{12, 10}, {12, 14}});
        addDot(path, 12, 17.2);
    } else if (name == QLatin1String("bang")) {
        addLine(path, {{12, 5}, {12, 13.5}});
        addDot(path, 12, 18.8);
    } else if (name == QLatin1String("cross")) {
        addLine(path, {{6.5, 6.5}, {17.5, 17.5}});
        addLine(path, {{17.5, 6.5}, {6.5, 17.5}});
    } else if (name == QLatin1String("eject")) {
        addLine(path, {{12, 5}, {19, 14}, {5, 14}, {12, 5}});
        addLine(path, {{5, 18.5}, {19, 18.5}});
    } else if (name == QLatin1String("forward")) {
        addLine(path, {{9, 5}, {16, 12}, {9, 19}});
    } else if (name == QLatin1String("back")) {
        addLine(path, {{15, 5}, {8, 12}, {15, 19}});
    }
    return path;
}

} // namespace

Glyph::Glyph(QQuickItem *parent)
    : QQuickPaintedItem(parent)
{
    setImplicitSize(kSize, kSize);
    setAntialiasing(true);
}

template <typename Value> void Glyph::set(Value &member, const Value &value)
{
    if (member == value)
        return;
    member = value;
    update();
    Q_EMIT changed();
}

void Glyph::setName(const QString &name)
{
    set(m_name, name);
}

void Glyph::setColor(const QColor &color)
{
    set(m_color, color);
}

void Glyph::setStroke(qreal stroke)
{
    set(m_stroke, stroke);
}

void Glyph::paint(QPainter *painter)
{
    painter->scale(width() / kSize, height() / kSize);
    painter->strokePath(pathOf(m_name), QPen(m_color, m_stroke, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
}
