#include "app/shell/display_registry.h"

#include <QGuiApplication>
#include <QScreen>
#include <QTimer>
#include <algorithm>

namespace scrawlet::shell {

void DisplayRegistry::addFeature(DisplayFeature& feature) {
    features_.push_back(&feature);
    if (!started_) {
        return;
    }
    for (Display& display : displays_) {
        display.screen = display.present ? screenNamed(display.key.name) : nullptr;
        if (display.screen) {
            feature.attach(display);
        }
        display.screen = nullptr;
    }
}

bool DisplayRegistry::start() {
    started_ = true;
    bool all = true;
    for (QScreen* screen : QGuiApplication::screens()) {
        Display display{{platform::displayIdentifier(screen), screen->name().toStdString()},
                        screen};
        if (attach(display)) {
            displays_.push_back(display);
            displays_.back().screen = nullptr;
        } else {
            all = false;
        }
        follow(screen);
    }
    connect(qGuiApp, &QGuiApplication::screenAdded, this, [this](QScreen* screen) {
        follow(screen);
        reconcileSoon();
    });
    connect(qGuiApp, &QGuiApplication::screenRemoved, this, [this] { reconcileSoon(); });
    return all;
}

bool DisplayRegistry::attach(Display& display) {
    for (std::size_t i = 0; i < features_.size(); ++i) {
        if (!features_[i]->attach(display) && i == 0) {
            return false;
        }
    }
    return true;
}

void DisplayRegistry::follow(QScreen* screen) {
    connect(screen, &QScreen::geometryChanged, this, [this] { reconcileSoon(); });
}

void DisplayRegistry::reconcileSoon() {
    if (reconcileScheduled_) {
        return;
    }
    reconcileScheduled_ = true;
    QTimer::singleShot(0, this, [this] {
        reconcileScheduled_ = false;
        reconcile();
    });
}

void DisplayRegistry::reconcile() {
    const QList<QScreen*> screens = QGuiApplication::screens();
    for (Display& display : displays_) {
        display.screen = screenNamed(display.key.name);
        if (display.screen) {
            display.present = true;
            for (DisplayFeature* feature : features_) {
                feature->reanchor(display);
            }
        } else if (display.present) {
            display.present = false;
            for (DisplayFeature* feature : features_) {
                feature->detach(display);
            }
        }
    }
    for (QScreen* screen : screens) {
        const std::string name = screen->name().toStdString();
        const bool known = std::any_of(displays_.begin(), displays_.end(),
                                       [&](const Display& d) { return d.key.name == name; });
        if (known) {
            continue;
        }
        Display display{{platform::displayIdentifier(screen), name}, screen, true, true};
        if (attach(display)) {
            displays_.push_back(display);
        }
    }
    for (Display& display : displays_) {
        display.screen = nullptr;
    }
    if (onReconciled_) {
        onReconciled_(static_cast<std::size_t>(screens.size()));
    }
}

// Qt recreates QScreen objects on changes; the monitor's name is what lasts.
QScreen* DisplayRegistry::screenNamed(const std::string& name) {
    for (QScreen* screen : QGuiApplication::screens()) {
        if (screen->name().toStdString() == name) {
            return screen;
        }
    }
    return nullptr;
}

}  // namespace scrawlet::shell
