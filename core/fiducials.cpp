#include "core/fiducials.h"

namespace scrawlet::core::fiducials {

std::vector<Mark> marks(const DisplayTransform& transform, double width, double height) {
    const double left = kInsetPoints;
    const double top = kInsetPoints;
    const double right = width - kInsetPoints;
    const double bottom = height - kInsetPoints;
    const auto at = [&](const char* name, double x, double y) {
        return Mark{name, transform.contentPoint(ViewportPoint{x, y})};
    };
    return {at("topLeft", left, top), at("topRight", right, top), at("bottomLeft", left, bottom),
            at("bottomRight", right, bottom), at("centre", width / 2, height / 2)};
}

}  // namespace scrawlet::core::fiducials
