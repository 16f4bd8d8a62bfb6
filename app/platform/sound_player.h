// Plays the desktop's sound-theme events ("screen-capture" …) without making the caller wait:
// the sound system is opened and spoken to on a thread of its own. A theme without the event,
// or no sound system at all, is silence.
#pragma once

#include <string>

namespace scrawlet::platform {

class SoundPlayer {
  public:
    virtual ~SoundPlayer() = default;
    // Stops the event if it is still playing, then plays it again.
    virtual void play(const std::string& event) = 0;
};

}  // namespace scrawlet::platform
