// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include <QCoreApplication>
#include <QLocale>
#include <QPointer>
#include <QQmlEngineExtensionPlugin>
#include <QTranslator>

// Generated; registers the module's C++ types when the plugin is loaded.
void qml_register_types_Brindlecast(); // NOLINT(readability-identifier-naming)

class BrindlecastPlugin : public QQmlEngineExtensionPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QQmlEngineExtensionInterface_iid)

public:
    explicit BrindlecastPlugin(QObject *parent = nullptr)
        : QQmlEngineExtensionPlugin(parent)
    {
        // Keeps the linker from leaving the registration out.
        volatile auto registration = &qml_register_types_Brindlecast;
        Q_UNUSED(registration)
    }

    void initializeEngine(QQmlEngine *, const char *) override
    {
        if (m_translator)
            return;
        m_translator = new QTranslator(QCoreApplication::instance());
        const QString folder = QStringLiteral(":/brindlecast/translations");
        // English has a translation for its plural forms alone.
        if (m_translator->load(QLocale(), QStringLiteral("brindlecast"), QStringLiteral("_"), folder)
            || m_translator->load(QStringLiteral("brindlecast_en"), folder))
            QCoreApplication::installTranslator(m_translator);
    }

private:
    QPointer<QTranslator> m_translator;
};

#include "BrindlecastPlugin.moc"
