// SPDX-FileCopyrightText: 2026 The Brindlecast developers
// SPDX-License-Identifier: MIT

#include <QQmlEngineExtensionPlugin>

// Generated; registers the module's C++ types when the plugin is loaded.
void qml_register_types_Brindlecast();

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
};

#include "BrindlecastPlugin.moc"
