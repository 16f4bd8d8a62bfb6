// Pictures that stay with the pointer: a dim over the displays with a hole at the pointer, a
// picture that follows it, and short animations where a button is pressed.
//
// The window system follows the pointer on a thread and a connection of its own, straight from
// raw pointer events, so a moving pointer wakes neither the main thread nor any clock, and a
// still one wakes nothing at all. Moving the hole redraws only the two boxes it leaves and
// enters, from pictures uploaded once; moving the follower moves its window. The main thread
// only says what to show. Pictures are premultiplied ARGB in device pixels; places are global
// device pixels with the origin at the top left.
#pragma once

#include <QImage>
#include <QPoint>
#include <QRect>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace scrawlet::platform {

class PointerStage {
  public:
    // A picture whose top-left corner sits at `offset` from the pointer.
    struct Stamp {
        QImage image;
        QPoint offset;
    };

    // What a display of the dim shows while the pointer is on another one.
    enum class Away { hidden, whole };
    struct DimPlane {
        QRect frame;
        Away away = Away::hidden;
    };
    // Black at `alpha` (0…1) over each plane; on the plane under the pointer `hole` is put in
    // at the pointer, cut by the plane's edge. The hole picture carries the dim round its
    // opening.
    struct Dim {
        std::vector<DimPlane> planes;
        double alpha = 0;
        Stamp hole;
    };

    // Shown while the pointer is on one of `displays`, not kept inside it.
    struct Follower {
        std::vector<QRect> displays;
        Stamp stamp;
    };

    // Played once at the pointer for each button press, one picture per `frameInterval`.
    // Buttons other than the left and the right take the left one's pictures.
    struct Ripples {
        std::vector<QImage> left;
        std::vector<QImage> right;
        QPoint offset;
        std::chrono::milliseconds frameInterval{16};
    };

    // Pointer updates that changed what a layer shows, and those that changed nothing (the
    // pointer on no display, or its layer's pixels already where they belong).
    struct Counters {
        std::uint64_t dimFrames = 0;
        std::uint64_t dimIdle = 0;
        std::uint64_t followerFrames = 0;
        std::uint64_t followerIdle = 0;
        std::uint64_t ripples = 0;
    };

    virtual ~PointerStage() = default;

    // Nothing means the layer is off; with every layer off raw pointer events are not even
    // selected. Each call replaces what the layer showed.
    virtual void setDim(std::optional<Dim> dim) = 0;
    virtual void setFollower(std::optional<Follower> follower) = 0;
    virtual void setRipples(std::optional<Ripples> ripples) = 0;
    // The display's refresh: the pictures follow the pointer at most once per interval.
    virtual void setFrameInterval(std::chrono::milliseconds interval) = 0;

    virtual Counters counters() const = 0;
    // Why nothing is shown, once the stage has given up; empty while it works.
    virtual std::string failure() const = 0;
};

}  // namespace scrawlet::platform
