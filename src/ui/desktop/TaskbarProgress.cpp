#include "ui/desktop/TaskbarProgress.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QVariantMap>

namespace TaskbarProgress {
namespace {
    std::function<void(double, bool)>& testSender()
    {
        static std::function<void(double, bool)> sender;
        return sender;
    }

    void send(double progress, bool visible)
    {
        if (testSender()) {
            testSender()(progress, visible);
            return;
        }
        QDBusConnection bus = QDBusConnection::sessionBus();
        if (!bus.isConnected())
            return;
        QDBusMessage signal = QDBusMessage::createSignal(QStringLiteral("/org/halvoren/LauncherEntry"),
                                                         QStringLiteral("com.canonical.Unity.LauncherEntry"),
                                                         QStringLiteral("Update"));
        QVariantMap properties;
        properties.insert(QStringLiteral("progress"), progress);
        properties.insert(QStringLiteral("progress-visible"), visible);
        signal << QStringLiteral("application://halvoren.desktop") << properties;
        bus.send(signal);
    }
} // namespace

void setValue(int percent) { send(qBound(0, percent, 100) / 100.0, true); }

void clear() { send(0.0, false); }

void setSender(std::function<void(double, bool)> sender) { testSender() = std::move(sender); }
} // namespace TaskbarProgress
