#include "app/diagnostics/input_devices.h"

#include <algorithm>
#include <bitset>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <system_error>
#include <tuple>

#include "app/platform/file_io.h"
#include "core/json_object.h"

namespace scrawlet::diagnostics {
namespace {

namespace fs = std::filesystem;

// sysfs attributes are a page at most; anything longer is not what the kernel wrote.
constexpr std::size_t kMaximumAttributeBytes = 4096;
constexpr int kManufacturerSearchDepth = 4;

// Kernel input constants (linux/input-event-codes.h).
constexpr std::size_t kEvKey = 1, kEvRel = 2, kEvAbs = 3;
constexpr std::size_t kAxisX = 0, kAxisY = 1;
constexpr std::size_t kBtnLeft = 0x110, kBtnToolPen = 0x140, kBtnToolFinger = 0x145,
                      kBtnTouch = 0x14a, kBtnStylus = 0x14b;
constexpr std::size_t kPropDirect = 1;
constexpr std::size_t kMaximumBit = 1024;
using Bits = std::bitset<kMaximumBit>;

std::optional<std::string> attribute(const fs::path& file) {
    auto text = platform::readFileText(file, kMaximumAttributeBytes);
    if (!text) {
        return std::nullopt;
    }
    const auto end = text->find_last_not_of(" \t\r\n");
    text->erase(end == std::string::npos ? 0 : end + 1);
    return std::move(*text);
}

// Hexadecimal digits only, all of them, at most `maximumDigits`: no sign, no prefix.
std::optional<std::uint64_t> hexNumber(std::string_view text, std::size_t maximumDigits) {
    std::uint64_t value = 0;
    if (text.empty() || text.size() > maximumDigits) {
        return std::nullopt;
    }
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, 16);
    if (error != std::errc{} || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

// The kernel prints its 16-bit ids as four hexadecimal digits.
std::optional<std::int64_t> hexAttribute(const fs::path& file) {
    const auto text = attribute(file);
    const auto value = text ? hexNumber(*text, 4) : std::nullopt;
    return value ? std::optional(static_cast<std::int64_t>(*value)) : std::nullopt;
}

// A capability bitmap: hex words, most significant first, each as wide as the kernel's long
// (64 bits on the machines we run on).
Bits bitmap(const fs::path& file) {
    Bits bits;
    const auto text = attribute(file);
    if (!text) {
        return bits;
    }
    std::vector<std::string_view> words;
    std::string_view rest = *text;
    while (!rest.empty()) {
        const auto space = rest.find(' ');
        words.push_back(rest.substr(0, space));
        rest = space == std::string_view::npos ? std::string_view{} : rest.substr(space + 1);
    }
    std::size_t base = 0;
    for (auto word = words.rbegin(); word != words.rend() && base < kMaximumBit; ++word) {
        const auto value = hexNumber(*word, 16);
        if (!value) {
            return {};
        }
        for (std::size_t bit = 0; bit < 64; ++bit) {
            if (*value >> bit & 1U) {
                bits.set(base + bit);
            }
        }
        base += 64;
    }
    return bits;
}

// HID usage page and usage that the device's capabilities amount to; none for a device that
// does not point (a keyboard, a lid switch, a power button).
std::optional<std::pair<int, int>> usage(const fs::path& device) {
    const Bits events = bitmap(device / "capabilities" / "ev");
    const Bits keys = bitmap(device / "capabilities" / "key");
    const Bits relative = bitmap(device / "capabilities" / "rel");
    const Bits absolute = bitmap(device / "capabilities" / "abs");
    const Bits properties = bitmap(device / "properties");
    const bool hasAbsolute = events[kEvAbs] && absolute[kAxisX] && absolute[kAxisY];
    if (hasAbsolute && (keys[kBtnToolPen] || keys[kBtnStylus])) {
        return std::pair{13, 2};  // digitizer: pen
    }
    if (hasAbsolute && keys[kBtnTouch] && properties[kPropDirect]) {
        return std::pair{13, 4};  // digitizer: touch screen
    }
    if (hasAbsolute && keys[kBtnToolFinger]) {
        return std::pair{13, 5};  // digitizer: touch pad
    }
    if (events[kEvKey] && keys[kBtnLeft] && events[kEvRel] && relative[kAxisX] &&
        relative[kAxisY]) {
        return std::pair{1, 2};  // generic desktop: mouse
    }
    if (hasAbsolute && keys[kBtnLeft]) {
        return std::pair{1, 1};  // generic desktop: pointer (a virtual machine's tablet)
    }
    return std::nullopt;
}

std::string busName(std::optional<std::int64_t> bus) {
    switch (bus.value_or(-1)) {
        case 0x01:
            return "PCI";
        case 0x03:
            return "USB";
        case 0x05:
            return "Bluetooth";
        case 0x06:
            return "Virtual";
        case 0x11:
            return "PS/2";
        case 0x18:
            return "I2C";
        case 0x19:
            return "Host";
        case 0x1c:
            return "SPI";
        case -1:
            return "";
        default: {
            static constexpr char kHex[] = "0123456789abcdef";
            const auto value = static_cast<unsigned>(*bus);
            return std::string("bus 0x") + kHex[(value >> 4) & 15] + kHex[value & 15];
        }
    }
}

// Bytes that are not UTF-8 would make the whole output line invalid JSON.
std::string validUtf8(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size();) {
        const auto lead = static_cast<unsigned char>(text[i]);
        const std::size_t length = lead < 0x80         ? 1
                                   : (lead >> 5) == 6  ? 2
                                   : (lead >> 4) == 14 ? 3
                                   : (lead >> 3) == 30 ? 4
                                                       : 0;
        bool valid = length > 0 && i + length <= text.size();
        for (std::size_t k = 1; valid && k < length; ++k) {
            valid = (static_cast<unsigned char>(text[i + k]) >> 6) == 2;
        }
        if (!valid) {
            out += '?';
            ++i;
            continue;
        }
        out.append(text.substr(i, length));
        i += length;
    }
    return out;
}

// "1ms", "125us": an endpoint's polling interval as the USB core prints it.
std::optional<std::int64_t> intervalMicroseconds(std::string_view text) {
    std::int64_t scale = 0;
    if (text.ends_with("us")) {
        scale = 1;
    } else if (text.ends_with("ms")) {
        scale = 1000;
    } else {
        return std::nullopt;
    }
    const auto number = text.substr(0, text.size() - 2);
    std::int64_t value = 0;
    if (number.empty() || number.size() > 6) {
        return std::nullopt;
    }
    for (const char c : number) {
        if (c < '0' || c > '9') {
            return std::nullopt;
        }
        value = value * 10 + (c - '0');
    }
    return value > 0 ? std::optional(value * scale) : std::nullopt;
}

// The interrupt-in endpoint of the USB interface that carries the reports.
std::optional<std::int64_t> reportInterval(const fs::path& interface) {
    std::error_code error;
    for (fs::directory_iterator it(interface, error), end; !error && it != end;
         it.increment(error)) {
        const fs::path endpoint = it->path();
        if (!endpoint.filename().string().starts_with("ep_") ||
            attribute(endpoint / "type") != "Interrupt" ||
            attribute(endpoint / "direction") != "in") {
            continue;
        }
        if (const auto text = attribute(endpoint / "interval")) {
            return intervalMicroseconds(*text);
        }
    }
    return std::nullopt;
}

std::string manufacturerAbove(const fs::path& parent) {
    std::error_code error;
    fs::path at = fs::canonical(parent, error);
    if (error) {
        return "";
    }
    for (int depth = 0; depth < kManufacturerSearchDepth && at.has_relative_path(); ++depth) {
        if (const auto text = attribute(at / "manufacturer")) {
            return validUtf8(*text);
        }
        at = at.parent_path();
    }
    return "";
}

std::optional<InputDevices::Device> deviceAt(const fs::path& node) {
    const auto kind = usage(node);
    if (!kind) {
        return std::nullopt;
    }
    InputDevices::Device d;
    if (const auto name = attribute(node / "name"); name && !name->empty()) {
        d.name = validUtf8(*name);
    }
    const auto bus = hexAttribute(node / "id" / "bustype");
    d.transport = busName(bus);
    d.vendorID = hexAttribute(node / "id" / "vendor");
    d.productID = hexAttribute(node / "id" / "product");
    d.primaryUsagePage = kind->first;
    d.primaryUsage = kind->second;
    d.manufacturer = manufacturerAbove(node / "device");
    if (bus == 0x03) {
        d.reportIntervalMicroseconds = reportInterval(node / "device");
    }
    return d;
}

// "input12" → 12; other entries (event, mouse, js nodes) are the same devices again.
std::optional<long> inputNumber(const std::string& name) {
    if (!name.starts_with("input") || name.size() == 5 || name.size() > 14) {
        return std::nullopt;
    }
    long number = 0;
    for (const char c : name.substr(5)) {
        if (c < '0' || c > '9') {
            return std::nullopt;
        }
        number = number * 10 + (c - '0');
    }
    return number;
}

}  // namespace

std::optional<double> InputDevices::Device::reportedHz() const {
    if (!reportIntervalMicroseconds || *reportIntervalMicroseconds <= 0) {
        return std::nullopt;
    }
    return 1e6 / static_cast<double>(*reportIntervalMicroseconds);
}

std::vector<InputDevices::Device> InputDevices::attachedPointingDevices(const fs::path& root) {
    std::vector<std::pair<long, fs::path>> nodes;
    std::error_code error;
    for (fs::directory_iterator it(root, error), end; !error && it != end; it.increment(error)) {
        if (const auto number = inputNumber(it->path().filename().string())) {
            nodes.emplace_back(*number, it->path());
        }
    }
    std::sort(nodes.begin(), nodes.end());
    std::vector<Device> devices;
    for (const auto& [number, node] : nodes) {
        if (auto device = deviceAt(node)) {
            devices.push_back(std::move(*device));
        }
    }
    std::stable_sort(devices.begin(), devices.end(), [](const Device& a, const Device& b) {
        return std::tie(a.name, a.vendorID, a.productID, a.transport) <
               std::tie(b.name, b.vendorID, b.productID, b.transport);
    });
    return devices;
}

std::string InputDevices::json(const std::vector<Device>& devices) {
    std::string out = "[";
    for (const Device& d : devices) {
        if (out.size() > 1) {
            out += ',';
        }
        core::JsonObject device(out);
        device.text("name", d.name)
            .text("manufacturer", d.manufacturer)
            .text("transport", d.transport)
            .count("vendorID", d.vendorID)
            .count("productID", d.productID)
            .count("locationID", d.locationID)
            .count("uniqueID", d.uniqueID)
            .count("primaryUsagePage", d.primaryUsagePage)
            .count("primaryUsage", d.primaryUsage)
            .count("reportIntervalMicroseconds", d.reportIntervalMicroseconds)
            .fixedOrNull("reportedHz", d.reportedHz(), 3)
            .close();
    }
    return out + "]";
}

std::string InputDevices::summary(const std::vector<Device>& devices) {
    if (devices.empty()) {
        return "none found";
    }
    std::string out;
    for (const Device& d : devices) {
        char rate[64] = "rate unreported";
        if (const auto hz = d.reportedHz()) {
            std::snprintf(rate, sizeof rate, "%.0fHz reported", *hz);
        }
        out += (out.empty() ? "" : "; ") + d.name + " (" + rate + ")";
    }
    return out;
}

}  // namespace scrawlet::diagnostics
