#include <nlohmann/json.hpp>

#include "core/settings.h"

// Every field is written, optional ones included, so a written document states every value it
// stands for. Key order is left to the writer of the settings file.
namespace scrawlet::core {

using nlohmann::json;

json StrokeWidthSettings::encode() const {
    return {{"presetsPoints", presetsPoints},
            {"selectedIndex", selectedIndex},
            {"pressureModulation", pressureModulation}};
}

json AutoEraseSettings::encode() const {
    return {{"mode", rawValue(mode)}, {"customSeconds", customSeconds}};
}

json ToolOpacity::encode() const {
    return {{"pen", pen},         {"line", line},
            {"arrow", arrow},     {"rectangle", rectangle},
            {"ellipse", ellipse}, {"highlighter", highlighter},
            {"text", text}};
}

json BeautifySettings::encode() const {
    return {{"enabled", enabled}, {"toleranceFraction", toleranceFraction}};
}

json AnnotationSettings::encode() const {
    json colours = json::array();
    for (const Colour& colour : palette) {
        colours.push_back(colour.hexString());
    }
    return {{"palette", std::move(colours)},       {"selectedPaletteIndex", selectedPaletteIndex},
            {"strokeWidth", strokeWidth.encode()}, {"autoErase", autoErase.encode()},
            {"toolOpacity", toolOpacity.encode()}, {"beautify", beautify.encode()}};
}

json CursorHighlightSettings::encode() const {
    return {{"enabled", enabled},           {"shape", rawValue(shape)},
            {"colour", colour.hexString()}, {"sizePoints", sizePoints},
            {"opacity", opacity},           {"borderWidthPoints", borderWidthPoints},
            {"clickRipple", clickRipple}};
}

json SpotlightSettings::encode() const {
    return {{"shape", rawValue(shape)},
            {"sizePoints", sizePoints},
            {"dimOpacity", dimOpacity},
            {"dimAllDisplays", dimAllDisplays}};
}

json ZoomSettings::encode() const {
    return {{"level", level},
            {"lensShape", rawValue(lensShape)},
            {"lensSizePoints", lensSizePoints},
            {"panEasing", panEasing}};
}

json WhiteboardSettings::encode() const {
    return {{"boardColour", boardColour.hexString()}};
}

json CaptureSettings::encode() const {
    return {{"destinationFolder", destinationFolder}, {"historyCount", historyCount}};
}

json KeystrokeDisplaySettings::encode() const {
    return {{"enabled", enabled},
            {"position", rawValue(position)},
            {"sizePoints", sizePoints},
            {"fade", fade.encode()}};
}

json SystemSettings::encode() const {
    return {{"launchAtLogin", launchAtLogin},
            {"checkForUpdates", checkForUpdates},
            {"onboardingCompleted", onboardingCompleted},
            {"shortcutOverrides", shortcutOverrides}};
}

json Settings::encode() const {
    return {{"schemaVersion", schemaVersion},
            {"annotation", annotation.encode()},
            {"cursorHighlight", cursorHighlight.encode()},
            {"spotlight", spotlight.encode()},
            {"zoom", zoom.encode()},
            {"whiteboard", whiteboard.encode()},
            {"capture", capture.encode()},
            {"keystrokeDisplay", keystrokeDisplay.encode()},
            {"system", system.encode()}};
}

}  // namespace scrawlet::core
