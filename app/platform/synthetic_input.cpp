#include "app/platform/synthetic_input.h"

namespace scrawlet::platform {

std::string_view describe(InputFailure failure) {
    switch (failure) {
        case InputFailure::noExtension:
            return "the X server lacks the XTEST extension";
        case InputFailure::unmappedKey:
            return "no key of the current keyboard mapping produces that keysym";
        case InputFailure::rejected:
            return "the X server rejected the synthetic event";
    }
    return "unknown failure";
}

}  // namespace scrawlet::platform
