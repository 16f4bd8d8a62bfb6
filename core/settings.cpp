#include "core/settings.h"

#include <cassert>
#include <utility>

namespace scrawlet::core {

const std::string_view Settings::defaultDocument = R"json({
  "schemaVersion": 1,
  "annotation": {
    "palette": [
      "#ff3b30",
      "#ffcc00",
      "#34c759",
      "#0a84ff",
      "#ffffff"
    ],
    "selectedPaletteIndex": 0,
    "strokeWidth": {
      "presetsPoints": [
        2,
        4,
        8
      ],
      "selectedIndex": 1,
      "pressureModulation": true
    },
    "autoErase": {
      "mode": "off",
      "customSeconds": 10
    },
    "toolOpacity": {
      "pen": 1,
      "line": 1,
      "arrow": 1,
      "rectangle": 1,
      "ellipse": 1,
      "highlighter": 0.4,
      "text": 1
    }
  },
  "cursorHighlight": {
    "enabled": false,
    "shape": "ring",
    "colour": "#ffcc00",
    "sizePoints": 48,
    "opacity": 0.5,
    "borderWidthPoints": 2,
    "clickRipple": true
  },
  "spotlight": {
    "shape": "circle",
    "sizePoints": 320,
    "dimOpacity": 0.6,
    "dimAllDisplays": false
  },
  "zoom": {
    "level": 2,
    "lensShape": "circle",
    "lensSizePoints": 400,
    "panEasing": 0.25
  },
  "whiteboard": {
    "boardColour": "#ffffff"
  },
  "capture": {
    "destinationFolder": "",
    "historyCount": 10
  },
  "keystrokeDisplay": {
    "enabled": false,
    "position": "bottomRight",
    "sizePoints": 28,
    "fade": {
      "mode": "threeSeconds",
      "customSeconds": 10
    }
  },
  "system": {
    "launchAtLogin": false,
    "checkForUpdates": true,
    "onboardingCompleted": false,
    "shortcutOverrides": {}
  }
})json";

Settings Settings::builtInDefaults() {
    static const Settings defaults = [] {
        auto decoded = decode(defaultDocument);
        assert(decoded && "the built-in settings document must decode");
        if (decoded) {
            return *std::move(decoded);
        }
        return Settings{};
    }();
    return defaults;
}

std::optional<double> AutoEraseSettings::timeToLiveSeconds() const {
    switch (mode) {
        case AutoEraseMode::off:
            return std::nullopt;
        case AutoEraseMode::oneSecond:
            return 1.0;
        case AutoEraseMode::threeSeconds:
            return 3.0;
        case AutoEraseMode::fiveSeconds:
            return 5.0;
        case AutoEraseMode::custom:
            return customSeconds;
    }
    return std::nullopt;
}

double ToolOpacity::value(Tool tool) const {
    switch (tool) {
        case Tool::pen:
            return pen;
        case Tool::line:
            return line;
        case Tool::arrow:
            return arrow;
        case Tool::rectangle:
            return rectangle;
        case Tool::ellipse:
            return ellipse;
        case Tool::highlighter:
            return highlighter;
        case Tool::text:
            return text;
        case Tool::eraser:
        case Tool::select:
            return 1.0;
    }
    return 1.0;
}

std::string SettingsDecodeError::description() const {
    if (const auto* settings = settingsError()) {
        return settings->description();
    }
    return std::get<DecoderError>(error).message;
}

}  // namespace scrawlet::core
