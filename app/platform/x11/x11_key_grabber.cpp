#include <xcb/xcb_keysyms.h>

#include <QAbstractNativeEventFilter>
#include <QCoreApplication>
#include <QTimer>
#include <algorithm>
#include <cstring>
#include <map>
#include <optional>
#include <vector>

#include "app/platform/platform_services.h"
#include "app/platform/x11/x11_modifiers.h"
#include "app/platform/x11/xcb_support.h"

namespace scrawlet::platform {
namespace {

constexpr xcb_keysym_t kNumLockKeysym = 0xff7f;
// The eight core modifier bits; the rest of a key event's state is buttons and the XKB group.
constexpr std::uint16_t kModifierBits = 0x00ff;
// XKB event subtypes, from the protocol; xcb/xkb.h does not compile as C++.
constexpr std::uint8_t kXkbNewKeyboardNotify = 0;
constexpr std::uint8_t kXkbMapNotify = 1;

struct KeySymbolsDeleter {
    void operator()(xcb_key_symbols_t* symbols) const { xcb_key_symbols_free(symbols); }
};

class X11KeyGrabber final : public KeyGrabber, private QAbstractNativeEventFilter {
  public:
    explicit X11KeyGrabber(const x11::XConnection& x) : x_(x) {
        readKeyboard();
        xkbEventBase_ = xkbFirstEvent();
        QCoreApplication::instance()->installNativeEventFilter(this);
    }

    ~X11KeyGrabber() override {
        if (auto* application = QCoreApplication::instance())
            application->removeNativeEventFilter(this);
        for (const auto& [id, held] : grabs_) release(held.keycode, held.masks);
        sync();
    }

    std::expected<void, GrabFailure> grab(std::uint32_t id, const core::Chord& chord) override {
        const xcb_keycode_t keycode = keycodeFor(core::x11Keysym(chord.key).value);
        if (keycode == 0)
            return std::unexpected(GrabFailure{GrabFailure::Kind::noKeyCode, 0});
        const std::uint16_t mask = x11::x11ModifierMask(chord.modifiers);
        // The server lets a client grab its own combination again and silently moves the grab,
        // so two spellings of one chord have to be caught here.
        for (const auto& [other, held] : grabs_) {
            if (held.keycode == keycode && held.mask == mask)
                return std::unexpected(GrabFailure{GrabFailure::Kind::refused, kGrabStatusTaken});
        }
        std::vector<std::uint16_t> masks;
        for (const std::uint16_t locks : lockVariants()) masks.push_back(mask | locks);

        // One round trip for all variants: send every request, then collect the answers.
        std::vector<xcb_void_cookie_t> cookies;
        for (const std::uint16_t modifiers : masks)
            cookies.push_back(xcb_grab_key_checked(x_.connection, 0, x_.root, modifiers, keycode,
                                                   XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
        std::vector<std::uint16_t> taken;
        int status = 0;
        for (std::size_t i = 0; i < cookies.size(); ++i) {
            const x11::Owned<xcb_generic_error_t> error(
                xcb_request_check(x_.connection, cookies[i]));
            if (error)
                status = status ? status : error->error_code;
            else
                taken.push_back(masks[i]);
        }
        if (status) {
            // Half a chord would fire only with some lock keys on; give back what was taken.
            release(keycode, taken);
            sync();
            return std::unexpected(GrabFailure{GrabFailure::Kind::refused, status});
        }
        grabs_[id] = Grab{keycode, mask, std::move(masks)};
        return {};
    }

    void ungrab(std::uint32_t id) override {
        const auto found = grabs_.find(id);
        if (found == grabs_.end())
            return;
        release(found->second.keycode, found->second.masks);
        xcb_flush(x_.connection);
        grabs_.erase(found);
    }

  private:
    struct Grab {
        xcb_keycode_t keycode = 0;
        std::uint16_t mask = 0;
        // As grabbed: the Num Lock bit may move with the mapping before the grab is released.
        std::vector<std::uint16_t> masks;
    };

    std::vector<std::uint16_t> lockVariants() const {
        std::vector<std::uint16_t> variants{0, XCB_MOD_MASK_LOCK};
        if (numLockMask_) {
            variants.push_back(numLockMask_);
            variants.push_back(numLockMask_ | XCB_MOD_MASK_LOCK);
        }
        return variants;
    }

    void release(xcb_keycode_t keycode, const std::vector<std::uint16_t>& masks) {
        for (const std::uint16_t modifiers : masks)
            xcb_ungrab_key(x_.connection, keycode, x_.root, modifiers);
    }

    // Once this returns the server has carried out our releases, so a client that asks for the
    // chord next finds it free.
    void sync() {
        std::free(
            xcb_get_input_focus_reply(x_.connection, xcb_get_input_focus(x_.connection), nullptr));
    }

    void readKeyboard() {
        symbols_.reset(xcb_key_symbols_alloc(x_.connection));
        numLockMask_ = findNumLockMask();
    }

    // The key that types `keysym` without modifiers wins over one that needs Shift for it.
    xcb_keycode_t keycodeFor(xcb_keysym_t keysym) const {
        if (!symbols_)
            return 0;
        const x11::Owned<xcb_keycode_t> codes(xcb_key_symbols_get_keycode(symbols_.get(), keysym));
        if (!codes)
            return 0;
        xcb_keycode_t first = 0;
        for (const xcb_keycode_t* code = codes.get(); *code != XCB_NO_SYMBOL; ++code) {
            if (xcb_key_symbols_get_keysym(symbols_.get(), *code, 0) == keysym)
                return *code;
            first = first ? first : *code;
        }
        return first;
    }

    // Num Lock is Mod2 on most layouts but not all; the modifier mapping says where it is.
    std::uint16_t findNumLockMask() const {
        if (!symbols_)
            return 0;
        const x11::Owned<xcb_keycode_t> numLockCodes(
            xcb_key_symbols_get_keycode(symbols_.get(), kNumLockKeysym));
        xcb_generic_error_t* error = nullptr;
        const x11::Owned<xcb_get_modifier_mapping_reply_t> mapping(xcb_get_modifier_mapping_reply(
            x_.connection, xcb_get_modifier_mapping(x_.connection), &error));
        std::free(error);
        if (!numLockCodes || !mapping)
            return 0;
        const xcb_keycode_t* modifierCodes = xcb_get_modifier_mapping_keycodes(mapping.get());
        const int perModifier = mapping->keycodes_per_modifier;
        for (int modifier = 0; modifier < 8; ++modifier) {
            for (int i = 0; i < perModifier; ++i) {
                const xcb_keycode_t code = modifierCodes[modifier * perModifier + i];
                for (const xcb_keycode_t* n = numLockCodes.get(); code && *n != XCB_NO_SYMBOL; ++n)
                    if (*n == code)
                        return static_cast<std::uint16_t>(1u << modifier);
            }
        }
        return 0;
    }

    std::optional<std::uint8_t> xkbFirstEvent() const {
        constexpr std::string_view name = "XKEYBOARD";
        xcb_generic_error_t* error = nullptr;
        const x11::Owned<xcb_query_extension_reply_t> reply(xcb_query_extension_reply(
            x_.connection, xcb_query_extension(x_.connection, name.size(), name.data()), &error));
        std::free(error);
        if (!reply || !reply->present)
            return std::nullopt;
        return reply->first_event;
    }

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr*) override {
        if (eventType != "xcb_generic_event_t")
            return false;
        const auto* event = static_cast<const xcb_generic_event_t*>(message);
        const std::uint8_t type = event->response_type & 0x7f;
        if (type == XCB_KEY_PRESS || type == XCB_KEY_RELEASE)
            return keyEvent(type == XCB_KEY_PRESS,
                            *static_cast<const xcb_key_press_event_t*>(message));
        if (type == XCB_MAPPING_NOTIFY) {
            const auto* change = static_cast<const xcb_mapping_notify_event_t*>(message);
            if (change->request != XCB_MAPPING_POINTER)
                scheduleMappingRefresh();
        } else if (xkbEventBase_ && type == *xkbEventBase_ &&
                   (event->pad0 == kXkbNewKeyboardNotify || event->pad0 == kXkbMapNotify)) {
            // A client that uses XKB, as Qt's connection does, gets no core notification when
            // the whole keyboard is replaced.
            scheduleMappingRefresh();
        }
        return false;
    }

    bool keyEvent(bool pressed, const xcb_key_press_event_t& key) {
        if (!pressed) {
            // From any window: an action that grabs the keyboard for our own window moves the
            // release there.
            if (down_ == key.detail)
                down_.reset();
            return false;
        }
        const auto locks = static_cast<std::uint16_t>(XCB_MOD_MASK_LOCK | numLockMask_);
        const auto modifiers = static_cast<std::uint16_t>(key.state & kModifierBits & ~locks);
        // Our grabs report to the root. A press reported to one of our own windows means that
        // window holds the keyboard (a text session), which stops the server from activating
        // any grab: chords are matched here instead, while bare and shifted keys are the
        // window's typing.
        if (key.event != x_.root && (modifiers & ~XCB_MOD_MASK_SHIFT) == 0)
            return false;
        const auto match = std::find_if(grabs_.begin(), grabs_.end(), [&](const auto& entry) {
            return entry.second.keycode == key.detail && entry.second.mask == modifiers;
        });
        if (match == grabs_.end())
            return false;
        // Auto-repeat arrives as presses without releases between them.
        if (down_ == key.detail)
            return true;
        down_ = key.detail;
        // The handler may grab and release, so nothing of `grabs_` is used after it.
        return onPress_ ? onPress_(match->first) : false;
    }

    // One change arrives as several notifications; the grabs are taken again once.
    void scheduleMappingRefresh() {
        if (refreshScheduled_)
            return;
        refreshScheduled_ = true;
        QTimer::singleShot(0, &context_, [this] {
            refreshScheduled_ = false;
            readKeyboard();
            down_.reset();
            if (onMappingChange_)
                onMappingChange_();
        });
    }

    x11::XConnection x_;
    std::unique_ptr<xcb_key_symbols_t, KeySymbolsDeleter> symbols_;
    std::uint16_t numLockMask_ = 0;
    std::optional<std::uint8_t> xkbEventBase_;
    std::map<std::uint32_t, Grab> grabs_;
    std::optional<xcb_keycode_t> down_;
    bool refreshScheduled_ = false;
    // Cancels a refresh still queued when the grabber goes.
    QObject context_;
};

}  // namespace

std::unique_ptr<KeyGrabber> createKeyGrabber() {
    return x11::makeOnQtConnection<KeyGrabber, X11KeyGrabber>();
}

}  // namespace scrawlet::platform
