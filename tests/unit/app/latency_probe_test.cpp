// The probe's stores, the join of events to presented frames, and the output text's keys,
// orders and decimals.
#include "app/diagnostics/latency_probe.h"

#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "app/diagnostics/probe_events.h"
#include "tests/support/latency_file.h"

namespace scrawlet::diagnostics {
namespace {

std::vector<nlohmann::ordered_json> lines(const std::string& text) {
    std::vector<nlohmann::ordered_json> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        out.push_back(nlohmann::ordered_json::parse(line));
    }
    return out;
}

std::vector<std::string> keys(const nlohmann::ordered_json& object) {
    std::vector<std::string> out;
    for (const auto& [key, value] : object.items()) {
        out.push_back(key);
    }
    return out;
}

EventRecord event(std::int32_t frame, double x = 1, std::int32_t phase = 1) {
    EventRecord e;
    e.eventTimestamp = 10 + frame;
    e.handlerEntry = 10.5 + frame;
    e.handlerExit = 10.6 + frame;
    e.locationX = x;
    e.locationY = 2;
    e.frameIndex = frame;
    e.phase = phase;
    return e;
}

// Frames 0..`frames`-1, each committed at 100 + i, with one event before each.
void addFrames(LatencyProbe& probe, int frames) {
    for (int i = 0; i < frames; ++i) {
        EXPECT_TRUE(probe.recordEvent(event(probe.frameCommitCount(), i)));
        EXPECT_EQ(probe.commitFrame(100 + i, 0.016), i);
    }
}

TEST(LatencyProbe, AFrameNeverPresentedUnmatchesItAndEveryLaterEvent) {
    LatencyProbe probe(16, 16);
    addFrames(probe, 5);
    // One more event that no frame carries yet.
    probe.recordEvent(event(5));
    for (const int frame : {0, 1, 3, 4}) {
        probe.framePresented(frame, 200 + frame);
    }
    EXPECT_EQ(probe.framePresentCount(), 2u);
    const auto counts = probe.joinCounts();
    EXPECT_EQ(counts.joinedFrameCount, 2u);
    EXPECT_EQ(counts.unmatchedEventCount, 4u);
    const auto out = lines(probe.flushText({}));
    ASSERT_EQ(out.size(), 3u);
    EXPECT_EQ(out[0]["eventCount"], 6);
    EXPECT_EQ(out[0]["framePresentCount"], 2);
    EXPECT_EQ(out[0]["unmatchedEventCount"], 4);
    EXPECT_EQ(out[2]["frameIndex"], 1);
    EXPECT_EQ(out[2]["presentedTime"], 201.0);

    // Once the missing time comes, the rest joins.
    probe.framePresented(2, 202);
    EXPECT_EQ(probe.joinCounts().joinedFrameCount, 5u);
    EXPECT_EQ(probe.joinCounts().unmatchedEventCount, 1u);
}

TEST(LatencyProbe, OutOfOrderAndZeroPresentedTimesAreCountedAndStillWritten) {
    LatencyProbe probe(16, 16);
    addFrames(probe, 5);
    const double times[] = {200, 199, 0, 201, 200.5};
    for (int i = 0; i < 5; ++i) {
        probe.framePresented(i, times[i]);
    }
    const auto counts = probe.joinCounts();
    EXPECT_EQ(counts.zeroPresentedFrameCount, 1u);
    // 199 after 200, and 200.5 after 201; the zero is skipped, not compared.
    EXPECT_EQ(counts.presentOrderViolations, 2u);
    const auto out = lines(probe.flushText({}));
    ASSERT_EQ(out.size(), 6u);
    EXPECT_EQ(out[0]["presentOrderViolations"], 2);
    EXPECT_EQ(out[0]["zeroPresentedFrameCount"], 1);
    EXPECT_EQ(out[2]["presentedTime"], 199.0);
    EXPECT_EQ(out[3]["presentedTime"], 0.0);
    for (std::size_t i = 1; i < out.size(); ++i) {
        EXPECT_EQ(out[i]["seq"], i - 1);
    }
}

TEST(LatencyProbe, OutputKeysComeInTheirOrderWithFixedDecimals) {
    LatencyProbe probe(4, 4);
    probe.notePost(9.75, 3, 4);
    EventRecord e = event(0, 1.25, 2);
    e.postTimestamp = probe.postTimeFor(3, 4);
    probe.noteDomainCheck(9.752, e.postTimestamp);
    probe.recordEvent(e);
    probe.commitFrame(11, 1.0 / 60);
    probe.framePresented(0, 11.5);
    probe.noteTick();
    probe.noteDeferredFrame();
    RunMetadata m;
    m.buildConfiguration = "Debug";
    m.inputDeviceLabel = "pen \"A\"";
    m.displayID = 4242;
    m.nominalRefreshHz = 59.951;
    m.screenPointWidth = 960;
    m.screenPointHeight = 1080;
    m.surface = "overlay";
    m.presentMode = "per-event";
    m.inputTransport = "cgEventPost";
    m.synthetic = true;
    m.inputDevicesJSON = "[{\"name\":\"m\"}]";
    m.inputDeviceCount = 1;
    m.occludedSeconds = 1.23456;
    const std::string text = probe.flushText(m);
    const auto out = lines(text);
    ASSERT_EQ(out.size(), 2u);
    EXPECT_EQ(keys(out[0]), scrawlet::testing::kLatencyMetaKeys);
    EXPECT_EQ(keys(out[1]), scrawlet::testing::kLatencySampleKeys);
    EXPECT_EQ(out[0]["inputDevice"], "pen \"A\"");
    EXPECT_EQ(out[0]["inputDevices"][0]["name"], "m");
    EXPECT_EQ(out[1]["phase"], "down");
    // The exact texts: nine decimals for times and points, three for the occluded time.
    EXPECT_NE(text.find("\"nominalRefreshHz\":59.951,\"backingScaleFactor\":1.0,"
                        "\"screenPointWidth\":960.0,"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("\"domainCheckSeconds\":0.002000000,"), std::string::npos) << text;
    EXPECT_NE(text.find("\"occludedSeconds\":1.235}\n"), std::string::npos) << text;
    EXPECT_NE(
        text.find("\"postTimestamp\":9.750000000,\"encodeSubmitted\":11.000000000,"
                  "\"presentedTime\":11.500000000,\"refreshInterval\":0.016666667,"
                  "\"frameIndex\":0,\"phase\":\"down\",\"x\":1.250000000,\"y\":2.000000000}\n"),
        std::string::npos)
        << text;
}

TEST(LatencyProbe, WithoutPostTimesTheDomainCheckIsNull) {
    LatencyProbe probe(4, 4);
    probe.noteDomainCheck(5, 0);
    EXPECT_TRUE(std::isnan(probe.firstEventDelta()));
    EXPECT_NE(probe.flushText({}).find("\"domainCheckSeconds\":null,"), std::string::npos);
    // Only the first stamped event counts.
    probe.noteDomainCheck(5, 4.5);
    probe.noteDomainCheck(9, 1);
    EXPECT_EQ(probe.firstEventDelta(), 0.5);
}

TEST(LatencyProbe, FullStoresRefuseAndSayTheyAreFull) {
    LatencyProbe probe(2, 3);
    EXPECT_TRUE(probe.recordEvent(event(0)));
    EXPECT_FALSE(probe.isFull());
    EXPECT_TRUE(probe.recordEvent(event(0)));
    EXPECT_FALSE(probe.recordEvent(event(0)));
    EXPECT_TRUE(probe.isFull());
    EXPECT_EQ(probe.eventCount(), 2u);
    LatencyProbe frames(8, 1);
    EXPECT_EQ(frames.commitFrame(1, 1), 0);
    EXPECT_EQ(frames.commitFrame(2, 1), -1);
    EXPECT_TRUE(frames.isFull());
    // A report for a frame that was never committed changes nothing.
    frames.framePresented(5, 3);
    frames.framePresented(-1, 3);
    EXPECT_EQ(frames.framePresentCount(), 0u);
}

TEST(LatencyProbe, EventsFindTheirPostByPointInOrder) {
    LatencyProbe probe(8, 8);
    probe.notePost(1, 10, 10);
    probe.notePost(2, 20, 20);
    probe.notePost(3, 20, 20);
    probe.notePost(4, 30, 30);
    EXPECT_EQ(probe.postTimeFor(20, 20), 2);
    // A press after the motion to the same point belongs to the same post.
    EXPECT_EQ(probe.postTimeFor(20, 20), 2);
    EXPECT_EQ(probe.postTimeFor(99, 99), 0) << "a motion no post made";
    EXPECT_EQ(probe.postTimeFor(30, 30), 4);
    EXPECT_EQ(probe.postTimeFor(10, 10), 0) << "posts already passed are not matched again";
}

// Reports come from the presentation timer's thread in any order.
TEST(LatencyProbe, PresentedTimesFromOtherThreadsJoinInFrameOrder) {
    LatencyProbe probe(1024, 1024);
    for (int i = 0; i < 1000; ++i) {
        probe.commitFrame(i, 0.01);
    }
    std::vector<std::thread> reporters;
    for (int t = 0; t < 4; ++t) {
        reporters.emplace_back([&probe, t] {
            for (int i = 999 - t; i >= 0; i -= 4) {
                probe.framePresented(i, 1000 + i);
            }
        });
    }
    for (auto& reporter : reporters) {
        reporter.join();
    }
    EXPECT_EQ(probe.framePresentCount(), 1000u);
    EXPECT_EQ(probe.joinCounts().presentOrderViolations, 0u);
}

TEST(ProbeEvents, ServerTimestampsArePlacedOnTheMonotonicClockAcrossTheWrap) {
    EXPECT_DOUBLE_EQ(eventSeconds(12'000, 12.5), 12.0);
    // 2^32 ms after boot the server's 32-bit time starts again from 0.
    const double afterWrap = 4294967.296 + 3.0;
    EXPECT_NEAR(eventSeconds(2'500, afterWrap), 4294967.296 + 2.5, 1e-6);
    EXPECT_NEAR(eventSeconds(4294967295ULL, afterWrap), 4294967.295, 1e-6);
}

}  // namespace
}  // namespace scrawlet::diagnostics
