#include "app/platform/gl_presenter.h"

namespace scrawlet::platform {

std::string_view presentPathName(PresentPath path) {
    return kPresentPathNames[static_cast<std::size_t>(path)];
}

std::optional<PresentPath> presentPathNamed(std::string_view name) {
    for (std::size_t i = 0; i < kPresentPathNames.size(); ++i) {
        if (kPresentPathNames[i] == name)
            return static_cast<PresentPath>(i);
    }
    return std::nullopt;
}

PresentPath choosePresentPath(const GlPresentation& offered) {
    if (offered.softwareRenderer)
        return PresentPath::software;
    if (offered.copySubBuffer)
        return PresentPath::copySubBuffer;
    if (offered.bufferAge)
        return PresentPath::bufferAge;
    return PresentPath::fullSwap;
}

}  // namespace scrawlet::platform
