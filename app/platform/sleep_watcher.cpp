#include "app/platform/sleep_watcher.h"

#include <QDBusConnection>

namespace scrawlet::platform {

SleepWatcher::SleepWatcher(std::function<void()> woke) : woke_(std::move(woke)) {
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected()) {
        return;
    }
    // Any sender: a forged signal costs no more than a rebuilt capture stream.
    listening_ = bus.connect(QString(), QStringLiteral("/org/freedesktop/login1"),
                             QStringLiteral("org.freedesktop.login1.Manager"),
                             QStringLiteral("PrepareForSleep"), this, SLOT(prepareForSleep(bool)));
}

void SleepWatcher::prepareForSleep(bool sleeping) {
    if (!sleeping && woke_) {
        woke_();
    }
}

}  // namespace scrawlet::platform
