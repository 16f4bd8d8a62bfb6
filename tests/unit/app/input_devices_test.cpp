// The pointing-device list read from a fake /sys/class/input tree: which devices count, what
// is read from them, hostile and missing files, order and the JSON form.
#include "app/diagnostics/input_devices.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/unit/app/temporary_folder.h"

namespace scrawlet::diagnostics {
namespace {

namespace fs = std::filesystem;
using scrawlet::testing::TemporaryFolder;

struct Node {
    std::string name;
    std::string bus = "0003";
    std::string vendor = "046d";
    std::string product = "c077";
    std::string ev;
    std::string key;
    std::string rel = "0";
    std::string abs = "0";
    std::string properties = "0";
};

// Bit maps as the kernel prints them: 64-bit words, most significant first.
constexpr const char* kMouseEv = "17";                       // SYN KEY REL MSC
constexpr const char* kMouseKeys = "1f0000 0 0 0 0";         // BTN_LEFT.. at 0x110
constexpr const char* kTouchpadEv = "b";                     // SYN KEY ABS
constexpr const char* kTouchpadKeys = "e520 10000 0 0 0 0";  // BTN_LEFT, TOOL_FINGER, TOUCH
constexpr const char* kPenKeys = "1c03 0 0 0 0 0";           // TOOL_PEN, TOUCH, STYLUS
constexpr const char* kKeyboardEv = "120013";

class FakeInputTree : public ::testing::Test {
  protected:
    fs::path add(const std::string& entry, const Node& n) {
        const fs::path node = tmp.path() / "class" / entry;
        const std::string at = "class/" + entry + "/";
        if (!n.name.empty())
            tmp.write(at + "name", n.name + "\n");
        tmp.write(at + "id/bustype", n.bus + "\n");
        tmp.write(at + "id/vendor", n.vendor + "\n");
        tmp.write(at + "id/product", n.product + "\n");
        tmp.write(at + "capabilities/ev", n.ev + "\n");
        tmp.write(at + "capabilities/key", n.key + "\n");
        tmp.write(at + "capabilities/rel", n.rel + "\n");
        tmp.write(at + "capabilities/abs", n.abs + "\n");
        tmp.write(at + "properties", n.properties + "\n");
        return node;
    }
    fs::path mouse(const std::string& entry, const std::string& name) {
        return add(entry, {.name = name, .ev = kMouseEv, .key = kMouseKeys, .rel = "143"});
    }
    std::vector<InputDevices::Device> list() const {
        return InputDevices::attachedPointingDevices(tmp.path() / "class");
    }
    TemporaryFolder tmp;
};

TEST_F(FakeInputTree, FindsMiceTouchpadsAndPensButNotKeyboards) {
    mouse("input3", "Logitech USB Optical Mouse");
    add("input5", {.name = "SynPS/2 Synaptics TouchPad",
                   .bus = "0011",
                   .vendor = "0002",
                   .product = "0007",
                   .ev = kTouchpadEv,
                   .key = kTouchpadKeys,
                   .abs = "3"});
    add("input7", {.name = "Wacom Intuos Pen",
                   .vendor = "056a",
                   .product = "0374",
                   .ev = kTouchpadEv,
                   .key = kPenKeys,
                   .abs = "3"});
    add("input1", {.name = "AT Translated Set 2 keyboard",
                   .bus = "0011",
                   .ev = kKeyboardEv,
                   .key = "fffffffffffffffe"});
    // Other nodes of the same devices, and entries that are no input node at all.
    mouse("event3", "duplicate");
    mouse("mouse0", "duplicate");
    mouse("input", "no number");
    mouse("input3x", "no number");
    const auto devices = list();
    ASSERT_EQ(devices.size(), 3u);
    EXPECT_EQ(devices[0].name, "Logitech USB Optical Mouse");
    EXPECT_EQ(devices[0].transport, "USB");
    EXPECT_EQ(devices[0].vendorID, 0x046d);
    EXPECT_EQ(devices[0].productID, 0xc077);
    EXPECT_EQ(devices[0].primaryUsagePage, 1);
    EXPECT_EQ(devices[0].primaryUsage, 2);
    EXPECT_EQ(devices[1].name, "SynPS/2 Synaptics TouchPad");
    EXPECT_EQ(devices[1].transport, "PS/2");
    EXPECT_EQ(devices[1].primaryUsagePage, 13);
    EXPECT_EQ(devices[1].primaryUsage, 5);
    EXPECT_EQ(devices[2].name, "Wacom Intuos Pen");
    EXPECT_EQ(devices[2].primaryUsage, 2);
    for (const auto& d : devices) {
        EXPECT_FALSE(d.reportIntervalMicroseconds) << d.name;
        EXPECT_FALSE(d.locationID);
    }
}

TEST_F(FakeInputTree, AUsbDeviceReportsItsInterruptEndpointsRate) {
    const fs::path node = mouse("input3", "Gaming Mouse");
    // The interface the input node hangs from, inside its USB device.
    const std::string usb = "devices/usb1/1-1/";
    tmp.write(usb + "manufacturer", "Logitech\n");
    tmp.write(usb + "1-1:1.0/ep_81/type", "Interrupt\n");
    tmp.write(usb + "1-1:1.0/ep_81/direction", "in\n");
    tmp.write(usb + "1-1:1.0/ep_81/interval", "125us\n");
    tmp.write(usb + "1-1:1.0/ep_02/type", "Interrupt\n");
    tmp.write(usb + "1-1:1.0/ep_02/direction", "out\n");
    tmp.write(usb + "1-1:1.0/ep_02/interval", "8ms\n");
    fs::create_directory_symlink(tmp.path() / usb / "1-1:1.0", node / "device");
    const auto devices = list();
    ASSERT_EQ(devices.size(), 1u);
    EXPECT_EQ(devices[0].manufacturer, "Logitech");
    EXPECT_EQ(devices[0].reportIntervalMicroseconds, 125);
    EXPECT_EQ(devices[0].reportedHz(), 8000);
    EXPECT_EQ(InputDevices::summary(devices), "Gaming Mouse (8000Hz reported)");
}

TEST_F(FakeInputTree, HostileOrMissingFilesLeaveFieldsOutInsteadOfGuessing) {
    const fs::path nameless = mouse("input1", "");
    mouse("input2", std::string("Bad \xff\xfe name\twith tab"));
    add("input3", {.name = "Garbage ids",
                   .bus = "zz",
                   .vendor = "-1",
                   .product = "123456789",
                   .ev = kMouseEv,
                   .key = kMouseKeys,
                   .rel = "143"});
    // A name file far longer than any the kernel writes.
    const fs::path huge = mouse("input4", "x");
    tmp.write("class/input4/name", std::string(100000, 'x'));
    // Capabilities that do not parse make no pointing device.
    add("input5", {.name = "Broken caps", .ev = "not hex", .key = kMouseKeys, .rel = "143"});
    add("input6", {.name = "Overlong word",
                   .ev = kMouseEv,
                   .key = "11111111111111111 0 0 0 0",
                   .rel = "143"});
    fs::remove(tmp.path() / "class/input1/id/vendor");
    const auto devices = list();
    ASSERT_EQ(devices.size(), 4u);
    // Sorted by name: "Bad…", "Garbage ids", then the two "unknown" in kernel order.
    EXPECT_EQ(devices[0].name, "Bad ?? name\twith tab");
    EXPECT_EQ(devices[1].name, "Garbage ids");
    EXPECT_EQ(devices[1].transport, "");
    EXPECT_FALSE(devices[1].vendorID);
    EXPECT_FALSE(devices[1].productID);
    EXPECT_EQ(devices[2].name, "unknown");
    EXPECT_FALSE(devices[2].vendorID);
    EXPECT_EQ(devices[2].productID, 0xc077);
    EXPECT_EQ(devices[3].name, "unknown");
    // The list is valid JSON whatever the bytes were.
    const auto parsed = nlohmann::json::parse(InputDevices::json(devices));
    EXPECT_EQ(parsed[0]["name"], "Bad ?? name\twith tab");
    EXPECT_TRUE(InputDevices::attachedPointingDevices(tmp.path() / "nothing here").empty());
}

TEST_F(FakeInputTree, TheSameNameSortsByIdsAndTheJsonKeepsItsKeyOrder) {
    add("input9",
        {.name = "Mouse", .vendor = "0002", .ev = kMouseEv, .key = kMouseKeys, .rel = "143"});
    add("input2",
        {.name = "Mouse", .vendor = "0001", .ev = kMouseEv, .key = kMouseKeys, .rel = "143"});
    add("input10",
        {.name = "Absolute", .bus = "0006", .ev = kTouchpadEv, .key = kMouseKeys, .abs = "3"});
    const auto devices = list();
    ASSERT_EQ(devices.size(), 3u);
    EXPECT_EQ(devices[0].name, "Absolute");
    EXPECT_EQ(devices[0].primaryUsage, 1) << "an absolute pointer, as a virtual machine's tablet";
    EXPECT_EQ(devices[1].vendorID, 1);
    EXPECT_EQ(devices[2].vendorID, 2);
    EXPECT_EQ(InputDevices::json({devices[1]}),
              "[{\"name\":\"Mouse\",\"manufacturer\":\"\",\"transport\":\"USB\",\"vendorID\":1,"
              "\"productID\":49271,\"locationID\":null,\"uniqueID\":null,\"primaryUsagePage\":1,"
              "\"primaryUsage\":2,\"reportIntervalMicroseconds\":null,\"reportedHz\":null}]");
    InputDevices::Device rated = devices[1];
    rated.reportIntervalMicroseconds = 3000;
    EXPECT_NE(InputDevices::json({rated}).find("\"reportIntervalMicroseconds\":3000,"
                                               "\"reportedHz\":333.333}"),
              std::string::npos);
    EXPECT_EQ(InputDevices::summary({devices[0], rated}),
              "Absolute (rate unreported); Mouse (333Hz reported)");
    EXPECT_EQ(InputDevices::summary({}), "none found");
    EXPECT_EQ(InputDevices::json({}), "[]");
}

}  // namespace
}  // namespace scrawlet::diagnostics
