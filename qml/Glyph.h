// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QColor>
#include <QQuickPaintedItem>
#include <QString>
#include <qqml.h>

/** An icon of the screen, drawn with lines, so that neither an icon font nor an image format is needed. */
class Glyph : public QQuickPaintedItem
{
    Q_OBJECT
    QML_ELEMENT
    /** "check", "dash", "stick", "page", "alert", "bang", "cross", "eject", "forward" or "back"; any other draws
     * nothing.
     */
    Q_PROPERTY(QString name READ name WRITE setName NOTIFY changed)
    Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY changed)
    /** Width of the lines when the icon is 24 wide and high; it grows with the icon. */
    Q_PROPERTY(qreal stroke READ stroke WRITE setStroke NOTIFY changed)

public:
    explicit Glyph(QQuickItem *parent = nullptr);

    QString name() const { return m_name; }
    void setName(const QString &name);
    QColor color() const { return m_color; }
    void setColor(const QColor &color);
    qreal stroke() const { return m_stroke; }
    void setStroke(qreal stroke);

    void paint(QPainter *painter) override;

Q_SIGNALS:
    void changed();

private:
    template <typename Value> void set(Value &member, const Value &value);

    QString m_name;
    QColor m_color = Qt::black;
    qreal m_stroke = 2;
};
