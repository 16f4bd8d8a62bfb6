#include "app/platform/gl_presenter.h"

namespace scrawlet::platform {

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
