// The capture bookkeeping against a scripted service and a hand-driven loop: builds and their
// generations, retries and giving up, rebuild budgets, disabled recovery, samples before and
// after stop.
#include "app/capture/display_capture.h"

#include <gtest/gtest.h>

#include <deque>
#include <sstream>

namespace {

using namespace scrawlet;
using Service = platform::CaptureService;
using capture::DisplayCapture;

struct FakeStream : Service::Stream {
    void stop(std::function<void()> done) override {
        stopped = true;
        stopDone = std::move(done);
    }
    bool stopped = false;
    std::function<void()> stopDone;
};

class FakeService : public Service {
  public:
    void requestContent(ContentDone done) override { contentRequests.push_back(std::move(done)); }
    std::optional<std::pair<int, int>> displayPixelSize(std::uint32_t) override {
        return std::pair{1920, 1080};
    }
    std::expected<std::shared_ptr<Stream>, std::string> createStream(const StreamConfig& config,
                                                                     StreamEvents events) override {
        if (createError) {
            return std::unexpected(*createError);
        }
        auto stream = std::make_shared<FakeStream>();
        streams.push_back({stream, config, std::move(events)});
        return stream;
    }
    void startStream(const std::shared_ptr<Stream>&,
                     std::function<void(std::optional<std::string>)> done) override {
        starts.push_back(std::move(done));
    }
    void setRegion(std::uint32_t, std::optional<QRect>) override {}
    void setProjection(std::uint32_t, std::optional<Projection>) override {}
    bool watchPointer(std::function<void(QPoint)>) override { return false; }
    bool followsPointer() const override { return false; }
    void watchSystemEvents(SystemEvents) override { watching = true; }
    void unwatchSystemEvents() override { watching = false; }

    // Answers the oldest content request.
    void answer(std::vector<std::uint32_t> displays, bool listed = true) {
        Content content;
        for (const auto id : displays) content.displays.push_back({id, 1920, 1080});
        content.ownApplicationListed = listed;
        auto done = std::move(contentRequests.front());
        contentRequests.pop_front();
        done(content, std::nullopt);
    }
    void startNext(std::optional<std::string> error = std::nullopt) {
        auto done = std::move(starts.front());
        starts.pop_front();
        done(std::move(error));
    }

    struct Created {
        std::shared_ptr<FakeStream> stream;
        StreamConfig config;
        StreamEvents events;
    };
    std::deque<ContentDone> contentRequests;
    std::deque<std::function<void(std::optional<std::string>)>> starts;
    std::vector<Created> streams;
    std::optional<std::string> createError;
    bool watching = false;
};

// A main loop run by hand: posted work runs on `drain`, delayed work once the clock passes it.
struct FakeLoop {
    capture::Loop loop() {
        return {[this](std::function<void()> work) { posted.push_back(std::move(work)); },
                [this](double seconds, std::function<void()> work) {
                    delayed.push_back({clock + seconds, std::move(work)});
                },
                [this] { return clock; }};
    }
    void drain() {
        while (!posted.empty()) {
            auto work = std::move(posted.front());
            posted.pop_front();
            work();
        }
    }
    void advance(double seconds) {
        clock += seconds;
        std::vector<std::function<void()>> due;
        std::erase_if(delayed, [&](auto& entry) {
            if (entry.first <= clock) {
                due.push_back(std::move(entry.second));
                return true;
            }
            return false;
        });
        for (auto& work : due) work();
        drain();
    }
    double clock = 1000;
    std::deque<std::function<void()>> posted;
    std::vector<std::pair<double, std::function<void()>>> delayed;
};

// Standard error as written during the object's life.
struct ErrorCapture {
    ErrorCapture() : old(std::cerr.rdbuf(text.rdbuf())) {}
    ~ErrorCapture() { std::cerr.rdbuf(old); }
    std::ostringstream text;
    std::streambuf* old;
};

QImage pixels() {
    QImage image(4, 3, QImage::Format_RGB32);
    image.fill(Qt::red);
    return image;
}

class DisplayCaptureTest : public ::testing::Test {
  protected:
    // Starts `displays` and brings every stream up.
    void startRunning(std::vector<std::uint32_t> displays) {
        capture.start(displays, 60);
        for (std::size_t i = 0; i < displays.size(); ++i) service.answer(displays);
        loop.drain();
        while (!service.starts.empty()) service.startNext();
        loop.drain();
    }
    void sample(std::size_t stream, int status, QImage image = {}) {
        const auto& created = service.streams.at(stream);
        created.events.sample(*created.stream, {status, 2.5, std::move(image), QRectF(), QRect()});
    }

    FakeService service;
    FakeLoop loop;
    DisplayCapture capture{service, loop.loop()};
};

TEST_F(DisplayCaptureTest, StreamsStartPerDisplayAndOnlyCompleteSamplesBecomeFrames) {
    std::vector<std::tuple<std::uint32_t, int, int, int>> started;
    capture.onStreamStart = [&](std::uint32_t id, int g, int w, int h) {
        started.emplace_back(id, g, w, h);
    };
    std::vector<DisplayCapture::Sample> samples;
    std::vector<DisplayCapture::Frame> frames;
    capture.onSample = [&](const DisplayCapture::Sample& s) { samples.push_back(s); };
    capture.onFrame = [&](const DisplayCapture::Frame& f) { frames.push_back(f); };
    startRunning({7, 9});
    EXPECT_TRUE(service.watching);
    ASSERT_EQ(service.streams.size(), 2u);
    EXPECT_EQ(service.streams[0].config.displayID, 7u);
    EXPECT_EQ(service.streams[0].config.fps, 60);
    EXPECT_TRUE(service.streams[0].config.excludeOwnWindows);
    ASSERT_EQ(started.size(), 2u);
    EXPECT_EQ(started[0], std::make_tuple(7u, 1, 1920, 1080));
    EXPECT_EQ(capture.counters().foundExclusions, 1);

    sample(1, 0, pixels());
    sample(1, 1);  // idle: no image
    sample(1, 2);  // blank
    ASSERT_EQ(samples.size(), 3u);
    EXPECT_EQ(samples[0].displayID, 9u);
    EXPECT_EQ(samples[0].generation, 1);
    EXPECT_EQ(samples[0].width, 4);
    EXPECT_EQ(samples[1].status, 1);
    EXPECT_EQ(samples[1].width, 0);
    ASSERT_EQ(frames.size(), 1u);
    EXPECT_EQ(frames[0].contentRect, QRectF(0, 0, 4, 3));
    EXPECT_EQ(capture.counters().frames, 1u);
}

TEST_F(DisplayCaptureTest, AnAnswerToAnOlderBuildIsDropped) {
    std::vector<int> generations;
    capture.onStreamStart = [&](std::uint32_t, int g, int, int) { generations.push_back(g); };
    capture.start({7}, 60);
    capture.displaysChanged();  // generation 2 begins before generation 1 is answered
    service.answer({7});
    loop.drain();
    EXPECT_TRUE(service.streams.empty());
    service.answer({7});
    loop.drain();
    ASSERT_EQ(service.streams.size(), 1u);
    service.startNext();
    loop.drain();
    EXPECT_EQ(generations, std::vector<int>{2});
    EXPECT_EQ(capture.counters().rebuilds, 1u);
}

TEST_F(DisplayCaptureTest, RetriesEverySecondUntilItsOwnWindowsAreListedOrGivesUp) {
    capture.maximumRetrySeconds = 3;
    ErrorCapture errors;
    capture.start({7}, 60);
    service.answer({7}, false);
    loop.drain();
    EXPECT_EQ(capture.counters().lastError, "our own windows are not in the shareable content yet");
    for (int attempt = 0; attempt < 3; ++attempt) {
        EXPECT_TRUE(service.contentRequests.empty());
        loop.advance(1.0);
        ASSERT_EQ(service.contentRequests.size(), 1u) << attempt;
        service.answer({7}, false);
        loop.drain();
    }
    EXPECT_EQ(errors.text.str(),
              "capture: display 7 gave up after 3.0s: our own windows are not in the "
              "shareable content yet\n");
    loop.advance(5);
    EXPECT_TRUE(service.contentRequests.empty());

    // A later success ends the episode: the next failure starts a fresh one.
    capture.displaysChanged();
    service.answer({7});
    loop.drain();
    service.startNext();
    loop.drain();
    EXPECT_EQ(capture.counters().lastError, std::nullopt);
    capture.displaysChanged();
    service.answer({8});
    loop.drain();
    EXPECT_EQ(capture.counters().lastError, "no SCDisplay");
    loop.advance(1.0);
    EXPECT_EQ(service.contentRequests.size(), 1u);
}

TEST_F(DisplayCaptureTest, TheTwentyFirstRebuildChangesNothing) {
    int delivered = 0;
    capture.onSample = [&](const DisplayCapture::Sample&) { ++delivered; };
    startRunning({7});
    sample(0, 0, pixels());
    EXPECT_EQ(delivered, 1);
    ErrorCapture errors;
    for (int i = 0; i < 21; ++i) capture.screensWoke();
    EXPECT_EQ(capture.counters().rebuilds, 20u);
    EXPECT_EQ(service.contentRequests.size(), 20u);
    EXPECT_EQ(errors.text.str(), "capture: display 7 exceeded 20 rebuilds\n");
    // The rebuilt stream's samples are counted but no longer delivered.
    sample(0, 0, pixels());
    EXPECT_EQ(delivered, 1);
    EXPECT_EQ(capture.counters().frames, 2u);
}

TEST_F(DisplayCaptureTest, WithRecoveryOffFailuresAreOnlyRecorded) {
    capture.recoveryEnabled = false;
    service.createError = "no output";
    capture.start({7}, 60);
    service.answer({7});
    loop.drain();
    EXPECT_EQ(capture.counters().lastError, "addStreamOutput: no output");
    loop.advance(10);
    EXPECT_TRUE(service.contentRequests.empty());

    service.createError.reset();
    capture.screensWoke();
    EXPECT_EQ(capture.counters().rebuilds, 0u);
    EXPECT_TRUE(service.contentRequests.empty());
}

TEST_F(DisplayCaptureTest, AStreamThatStopsBeforeItStartedRebuildsTheFirstDisplay) {
    capture.start({7, 9}, 60);
    service.answer({7, 9});
    service.answer({7, 9});
    loop.drain();
    ASSERT_EQ(service.streams.size(), 2u);
    service.streams[1].events.stopped(*service.streams[1].stream, "boom");
    loop.drain();
    EXPECT_EQ(capture.counters().rebuilds, 1u);
    EXPECT_EQ(capture.counters().lastError, "didStopWithError boom");
    ASSERT_EQ(service.contentRequests.size(), 1u);
    service.answer({7, 9});
    loop.drain();
    EXPECT_EQ(service.streams.back().config.displayID, 7u);
}

TEST_F(DisplayCaptureTest, StopAnswersOnceEveryStreamHasAndLaterSamplesAreOnlyCounted) {
    bool stoppedEmpty = false;
    DisplayCapture idle(service, loop.loop());
    idle.stop([&] { stoppedEmpty = true; });
    EXPECT_TRUE(stoppedEmpty);  // at once, before returning

    int delivered = 0;
    capture.onSample = [&](const DisplayCapture::Sample&) { ++delivered; };
    startRunning({7, 9});
    int completions = 0;
    capture.stop([&] { ++completions; });
    EXPECT_FALSE(service.watching);
    sample(0, 0, pixels());
    EXPECT_EQ(delivered, 0);
    EXPECT_EQ(capture.counters().afterStop, 1u);
    ASSERT_TRUE(service.streams[0].stream->stopped);
    service.streams[0].stream->stopDone();
    loop.drain();
    EXPECT_EQ(completions, 0);
    service.streams[1].stream->stopDone();
    loop.drain();
    EXPECT_EQ(completions, 1);
}

TEST_F(DisplayCaptureTest, StartingADisplayAgainBeginsAFreshSession) {
    startRunning({7});
    capture.screensWoke();
    service.answer({7});
    loop.drain();
    service.startNext();
    loop.drain();
    std::vector<int> generations;
    capture.onStreamStart = [&](std::uint32_t, int g, int, int) { generations.push_back(g); };
    capture.start({7}, 30);
    service.answer({7});
    loop.drain();
    service.startNext();
    loop.drain();
    ASSERT_EQ(generations, std::vector<int>{1});
    EXPECT_EQ(service.streams.back().config.fps, 30);
    // The fresh session has its whole rebuild budget again.
    ErrorCapture errors;
    for (int i = 0; i < 20; ++i) capture.displaysChanged();
    EXPECT_EQ(errors.text.str(), "");
}

}  // namespace
