#include "app/settings/app_identity.h"

#include <QPainter>
#include <QPainterPath>
#include <QSvgRenderer>
#include <cstdlib>

// Set by the build for this file only, so that a new build identifier recompiles one file.
#ifndef SCRAWLET_APP_NAME
#define SCRAWLET_APP_NAME "Scrawlet"
#endif
#ifndef SCRAWLET_VERSION
#define SCRAWLET_VERSION "0.0.0"
#endif
#ifndef SCRAWLET_BUILD_ID
#define SCRAWLET_BUILD_ID "0"
#endif
#ifndef SCRAWLET_MAKER
#define SCRAWLET_MAKER "the Scrawlet contributors"
#endif
#ifndef SCRAWLET_WEBSITE
#define SCRAWLET_WEBSITE "https://scrawlet.org/"
#endif
#ifndef SCRAWLET_UPDATE_FEED_URL
#define SCRAWLET_UPDATE_FEED_URL "https://scrawlet.org/products/appcast.xml"
#endif

namespace scrawlet::settings::AppIdentity {
namespace {

std::string orDefault(const char* value, const char* fallback) {
    return value[0] != '\0' ? std::string(value) : std::string(fallback);
}

QPixmap placeholder(int sizePixels) {
    QPixmap picture(sizePixels, sizePixels);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    const double size = sizePixels;
    QPainterPath square;
    square.addRoundedRect(QRectF(0, 0, size, size), 0.22 * size, 0.22 * size);
    painter.fillPath(square, QColor(10, 132, 255));
    QFont font = painter.font();
    font.setPixelSize(std::max(1, static_cast<int>(0.5 * size)));
    painter.setFont(font);
    painter.setPen(Qt::white);
    painter.drawText(QRectF(0, 0, size, size), Qt::AlignCenter, QStringLiteral("\u270E"));
    return picture;
}

}  // namespace

std::string name() {
    return orDefault(SCRAWLET_APP_NAME, "Scrawlet");
}

std::string shortVersion() {
    return orDefault(SCRAWLET_VERSION, "0.0.0");
}

std::string buildNumber() {
    return orDefault(SCRAWLET_BUILD_ID, "0");
}

std::string maker() {
    return SCRAWLET_MAKER;
}

std::string website() {
    return SCRAWLET_WEBSITE;
}

std::string updateFeedUrl() {
    if (const char* url = std::getenv("SCRAWLET_UPDATE_FEED_URL"); url && url[0] != '\0') {
        return url;
    }
    return SCRAWLET_UPDATE_FEED_URL;
}

bool iconAvailable() {
    return QSvgRenderer(QString::fromLatin1(kIconResource)).isValid();
}

QPixmap icon(int sizePoints, qreal devicePixelRatio, bool* fromBundle) {
    const int sizePixels = std::max(1, qRound(sizePoints * devicePixelRatio));
    QSvgRenderer renderer(QString::fromLatin1(kIconResource));
    QPixmap picture;
    if (renderer.isValid()) {
        picture = QPixmap(sizePixels, sizePixels);
        picture.fill(Qt::transparent);
        QPainter painter(&picture);
        renderer.render(&painter, QRectF(0, 0, sizePixels, sizePixels));
    } else {
        picture = placeholder(sizePixels);
    }
    if (fromBundle) {
        *fromBundle = renderer.isValid();
    }
    picture.setDevicePixelRatio(devicePixelRatio);
    return picture;
}

QIcon trayIcon() {
    QIcon result;
    for (const int size : {16, 22, 24, 32, 48, 64}) {
        result.addPixmap(icon(size, 1.0));
    }
    return result;
}

}  // namespace scrawlet::settings::AppIdentity
