#include "app/settings/about_window.h"

#include <QLabel>
#include <QVBoxLayout>

#include "app/settings/app_identity.h"

namespace scrawlet::settings {
namespace {

QLabel* centredLabel(const QString& text, double pointSize, bool bold = false) {
    auto* label = new QLabel(text);
    QFont font = label->font();
    font.setPointSizeF(pointSize);
    font.setBold(bold);
    label->setFont(font);
    label->setAlignment(Qt::AlignHCenter);
    label->setWordWrap(true);
    return label;
}

}  // namespace

std::string AboutWindowController::versionLine() {
    return "Version " + AppIdentity::shortVersion() + " (" + AppIdentity::buildNumber() + ")";
}

std::string AboutWindowController::makerLine() {
    return "Built by " + AppIdentity::maker();
}

AboutWindowController::AboutWindowController() {
    const QString name = QString::fromStdString(AppIdentity::name());
    setWindowTitle(QStringLiteral("About ") + name);
    setWindowFlags(Qt::Window | Qt::WindowTitleHint | Qt::WindowCloseButtonHint);
    setFixedSize(kWidthPoints, kHeightPoints);

    auto* stack = new QVBoxLayout(this);
    stack->setSpacing(8);
    stack->setContentsMargins(24, 28, 24, 28);
    stack->addStretch(1);

    auto* icon = new QLabel;
    icon->setPixmap(AppIdentity::icon(kIconPoints, devicePixelRatioF(), &iconFromBundle_));
    icon->setFixedSize(kIconPoints, kIconPoints);
    stack->addWidget(icon, 0, Qt::AlignHCenter);
    stack->addSpacing(12);
    stack->addWidget(centredLabel(name, 18, true));
    QLabel* version = centredLabel(QString::fromStdString(versionLine()), 12);
    version->setForegroundRole(QPalette::PlaceholderText);
    version->setTextInteractionFlags(Qt::TextSelectableByMouse);
    stack->addWidget(version);
    stack->addSpacing(16);
    stack->addWidget(centredLabel(QString::fromStdString(makerLine()), 12));

    const QString website = QString::fromStdString(AppIdentity::website());
    QLabel* link = centredLabel(QStringLiteral("<a href=\"%1\">%2</a>")
                                    .arg(website.toHtmlEscaped(), website.toHtmlEscaped()),
                                12);
    link->setTextFormat(Qt::RichText);
    link->setTextInteractionFlags(Qt::TextBrowserInteraction);
    // Qt hands the address to QDesktopServices, i.e. the desktop's browser.
    link->setOpenExternalLinks(true);
    stack->addWidget(link);
    stack->addStretch(1);
}

}  // namespace scrawlet::settings
