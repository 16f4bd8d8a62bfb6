#include "app/shell/compositing_notice.h"

#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QVBoxLayout>

namespace scrawlet::shell {

CompositingNotice::CompositingNotice(std::function<void()> quit) {
    setWindowTitle(QString::fromUtf8(kTitle));
    // The presenter keeps typing into their own application while this is up.
    setAttribute(Qt::WA_ShowWithoutActivating);
    auto* heading = new QLabel(QString::fromUtf8(kTitle), this);
    QFont bold = heading->font();
    bold.setBold(true);
    heading->setFont(bold);
    auto* body = new QLabel(
        QStringLiteral("Scrawlet draws in see-through windows over your screen. Only a "
                       "compositing manager makes them see-through; without one they would "
                       "cover everything in black, so Scrawlet keeps them hidden.\n\n"
                       "Turn on your desktop's compositing, or start a compositing manager "
                       "such as xcompmgr or picom. Scrawlet appears at once and this note "
                       "closes by itself."),
        this);
    body->setWordWrap(true);
    auto* quitButton = new QPushButton(QStringLiteral("Quit Scrawlet"), this);
    connect(quitButton, &QPushButton::clicked, this, [quit = std::move(quit)] { quit(); });
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(quitButton);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(heading);
    layout->addWidget(body);
    layout->addLayout(buttons);
    setFixedWidth(420);
}

void CompositingNotice::present() {
    adjustSize();
    if (const QScreen* screen = QGuiApplication::primaryScreen()) {
        const QRect area = screen->availableGeometry();
        move(area.center() - QPoint(width() / 2, height() / 2));
    }
    show();
    raise();
}

}  // namespace scrawlet::shell
