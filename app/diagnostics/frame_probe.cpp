#include "app/diagnostics/frame_probe.h"

#include <cstdlib>

namespace scrawlet::diagnostics {
namespace {

bool matches(QRgb pixel, QRgb colour) {
    return std::abs(qRed(pixel) - qRed(colour)) <= kChannelTolerance &&
           std::abs(qGreen(pixel) - qGreen(colour)) <= kChannelTolerance &&
           std::abs(qBlue(pixel) - qBlue(colour)) <= kChannelTolerance;
}

}  // namespace

SentinelProbe probeSentinel(const QImage& image, const QRect& square, QRgb colour) {
    const int marginX = square.width() / 5;
    const int marginY = square.height() / 5;
    const QRect inner = square.adjusted(marginX, marginY, -marginX, -marginY) & image.rect();
    if (inner.isEmpty()) {
        return {};
    }
    long long matching = 0;
    for (int y = inner.top(); y <= inner.bottom(); ++y) {
        for (int x = inner.left(); x <= inner.right(); ++x) {
            matching += matches(image.pixel(x, y), colour) ? 1 : 0;
        }
    }
    // Cut by the image's edge the square counts as missing there.
    const long long whole =
        static_cast<long long>(square.width() - 2 * marginX) * (square.height() - 2 * marginY);
    const double match = static_cast<double>(matching) / static_cast<double>(whole);
    return {match >= 0.5, match};
}

FiducialProbe probeFiducial(const QImage& image, const QRect& rect, QRgb colour) {
    const QRect search = rect.adjusted(-rect.width() / 10, -rect.height() / 10, rect.width() / 10,
                                       rect.height() / 10) &
                         image.rect();
    FiducialProbe probe;
    double sumX = 0;
    double sumY = 0;
    for (int y = search.top(); y <= search.bottom(); ++y) {
        for (int x = search.left(); x <= search.right(); ++x) {
            if (matches(image.pixel(x, y), colour)) {
                ++probe.pixels;
                sumX += x + 0.5;
                sumY += y + 0.5;
            }
        }
    }
    if (probe.pixels > 0) {
        probe.x = sumX / probe.pixels;
        probe.y = sumY / probe.pixels;
    }
    const long long area = static_cast<long long>(rect.width()) * rect.height();
    probe.present = area > 0 && 2LL * probe.pixels >= area;
    return probe;
}

}  // namespace scrawlet::diagnostics
