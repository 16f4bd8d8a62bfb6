// The pointing devices attached to this machine, as the kernel lists them under
// /sys/class/input: mice, touchpads, pen tablets and touch screens, for the probe's record of
// what the operator could have been holding.
//
// Everything comes from sysfs text files, any of which may be missing, empty, oversized or
// garbage; such a field is left out (null), never guessed. A report interval is known only for
// USB devices, from their interrupt endpoint. The root is injectable so that a fake tree can
// stand in for the kernel's.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace scrawlet::diagnostics {

struct InputDevices {
    struct Device {
        std::string name = "unknown";
        std::string manufacturer;
        std::string transport;
        std::optional<std::int64_t> vendorID;
        std::optional<std::int64_t> productID;
        std::optional<std::int64_t> locationID;
        std::optional<std::int64_t> uniqueID;
        std::optional<std::int64_t> primaryUsagePage;
        std::optional<std::int64_t> primaryUsage;
        std::optional<std::int64_t> reportIntervalMicroseconds;

        std::optional<double> reportedHz() const;
        bool operator==(const Device&) const = default;
    };

    // Sorted by name, then vendor, product and transport; ties keep the kernel's order.
    static std::vector<Device> attachedPointingDevices(
        const std::filesystem::path& root = "/sys/class/input");

    // A JSON array with each device's keys in their fixed order.
    static std::string json(const std::vector<Device>& devices);
    // One line for the banner: "name (125Hz reported)" or "name (rate unreported)" per device.
    static std::string summary(const std::vector<Device>& devices);
};

}  // namespace scrawlet::diagnostics
