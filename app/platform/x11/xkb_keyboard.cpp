#include "app/platform/x11/xkb_keyboard.h"

#include <xkbcommon/xkbcommon.h>

#include <array>
#include <string>

namespace scrawlet::platform::x11 {
namespace {

struct ContextDeleter {
    void operator()(xkb_context* context) const { xkb_context_unref(context); }
};

bool active(xkb_state* state, const char* name) {
    return xkb_state_mod_name_is_active(state, name, XKB_STATE_MODS_EFFECTIVE) > 0;
}

}  // namespace

void XkbKeyboard::KeymapDeleter::operator()(xkb_keymap* keymap) const {
    xkb_keymap_unref(keymap);
}
void XkbKeyboard::StateDeleter::operator()(xkb_state* state) const {
    xkb_state_unref(state);
}

std::optional<XkbKeyboard> XkbKeyboard::fromNames(std::string_view layout,
                                                  std::string_view variant) {
    const std::unique_ptr<xkb_context, ContextDeleter> context(
        xkb_context_new(XKB_CONTEXT_NO_FLAGS));
    if (!context)
        return std::nullopt;
    const std::string layoutText(layout);
    const std::string variantText(variant);
    const xkb_rule_names names{nullptr, nullptr, layoutText.c_str(), variantText.c_str(), nullptr};
    xkb_keymap* keymap =
        xkb_keymap_new_from_names(context.get(), &names, XKB_KEYMAP_COMPILE_NO_FLAGS);
    if (!keymap)
        return std::nullopt;
    xkb_state* state = xkb_state_new(keymap);
    if (!state) {
        xkb_keymap_unref(keymap);
        return std::nullopt;
    }
    return XkbKeyboard(keymap, state);
}

XkbKeyboard::XkbKeyboard(xkb_keymap* keymap, xkb_state* state)
    : keymap_(keymap), state_(state), plain_(xkb_state_new(keymap)) {}

void XkbKeyboard::updateState(std::uint32_t baseModifiers, std::uint32_t latchedModifiers,
                              std::uint32_t lockedModifiers, std::int32_t baseLayout,
                              std::int32_t latchedLayout, std::int32_t lockedLayout) {
    const auto layout = [](std::int32_t index) { return static_cast<xkb_layout_index_t>(index); };
    xkb_state_update_mask(state_.get(), baseModifiers, latchedModifiers, lockedModifiers,
                          layout(baseLayout), layout(latchedLayout), layout(lockedLayout));
    if (!plain_)
        return;
    // Num Lock stays: with it on, the keypad types digits even to someone pressing nothing
    // else. Caps Lock changes nothing an upper-case caption shows, and the held modifiers are
    // the ones the caption lists in front.
    xkb_mod_mask_t kept = lockedModifiers;
    for (const char* name : {XKB_MOD_NAME_SHIFT, XKB_MOD_NAME_CAPS, XKB_MOD_NAME_CTRL,
                             XKB_MOD_NAME_ALT, XKB_MOD_NAME_LOGO}) {
        const xkb_mod_index_t index = xkb_keymap_mod_get_index(keymap_.get(), name);
        if (index != XKB_MOD_INVALID)
            kept &= ~(xkb_mod_mask_t{1} << index);
    }
    const xkb_layout_index_t active =
        xkb_state_serialize_layout(state_.get(), XKB_STATE_LAYOUT_EFFECTIVE);
    xkb_state_update_mask(plain_.get(), 0, 0, kept, 0, 0, active);
}

core::KeystrokeKey XkbKeyboard::key(std::uint32_t keycode) const {
    if (!plain_)
        return {};
    const xkb_keysym_t* symbols = nullptr;
    if (xkb_state_key_get_syms(plain_.get(), keycode, &symbols) < 1)
        return {};
    core::KeystrokeKey key{symbols[0], {}};
    std::array<char, 64> text{};
    const int length =
        xkb_keysym_to_utf8(xkb_keysym_to_upper(symbols[0]), text.data(), text.size());
    // The length counts the terminating zero; 0 means no text, -1 a buffer too small.
    if (length > 1)
        key.text.assign(text.data(), static_cast<std::size_t>(length - 1));
    return key;
}

core::KeystrokeModifiers XkbKeyboard::modifiers() const {
    xkb_state* state = state_.get();
    return {active(state, XKB_MOD_NAME_CTRL), active(state, XKB_MOD_NAME_ALT),
            active(state, XKB_MOD_NAME_SHIFT), active(state, XKB_MOD_NAME_LOGO)};
}

}  // namespace scrawlet::platform::x11
