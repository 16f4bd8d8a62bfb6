// The overlay and text-input check modes' configuration, sentinel placement and report texts.
#include <gtest/gtest.h>

#include "app/diagnostics/capture_config.h"
#include "app/diagnostics/frame_probe.h"
#include "app/diagnostics/overlay_config.h"
#include "app/diagnostics/overlay_panel.h"
#include "app/diagnostics/text_input_report.h"
#include "app/log/frontmost_log.h"
#include "tests/unit/app/temporary_folder.h"

namespace scrawlet::diagnostics {
namespace {

using shell::Environment;

OverlayConfig overlay(std::map<std::string, std::string> values) {
    auto config = OverlayConfig::fromEnvironment(Environment(std::move(values)));
    EXPECT_TRUE(config) << (config ? "" : config.error().message);
    return config ? *config : OverlayConfig{};
}

TEST(OverlayConfig, DefaultsWithoutVariables) {
    const OverlayConfig c = overlay({});
    EXPECT_EQ(c.behaviorTokens, std::vector<std::string>{"canJoinAllSpaces"});
    EXPECT_EQ(c.levelToken, "screenSaver");
    EXPECT_EQ(c.level(), 1000);
    EXPECT_EQ(c.behaviorBits(), 1);
    EXPECT_EQ(c.logPath, "/tmp/scrawlet-overlay.jsonl");
    EXPECT_FALSE(c.maxDurationSeconds);
    EXPECT_FALSE(c.startsIgnoringMouseEvents);
    EXPECT_EQ(c.debugFillAlpha, 0);
}

TEST(OverlayConfig, ReadsEveryVariable) {
    const OverlayConfig c = overlay({{"SCRAWLET_OVERLAY_BEHAVIOR", "stationary, ignoresCycle"},
                                     {"SCRAWLET_OVERLAY_LEVEL", "floating"},
                                     {"SCRAWLET_OVERLAY_LOG", "/x/o.jsonl"},
                                     {"SCRAWLET_OVERLAY_SENTINEL_INSET", "10"},
                                     {"SCRAWLET_OVERLAY_SENTINEL_SIZE", "8"},
                                     {"SCRAWLET_OVERLAY_SECONDS", "2.5"},
                                     {"SCRAWLET_OVERLAY_FILL_ALPHA", "0.25"},
                                     {"SCRAWLET_OVERLAY_CLICKTHROUGH", "1"}});
    EXPECT_EQ(c.behaviorBits(), 16 | 64);
    EXPECT_EQ(c.level(), 3);
    EXPECT_EQ(c.logPath, "/x/o.jsonl");
    EXPECT_EQ(c.sentinelInsetPoints, 10);
    EXPECT_EQ(c.sentinelSizePoints, 8);
    EXPECT_EQ(c.maxDurationSeconds, 2.5);
    EXPECT_EQ(c.debugFillAlpha, 0.25);
    EXPECT_TRUE(c.startsIgnoringMouseEvents);
    EXPECT_EQ(overlay({{"SCRAWLET_OVERLAY_LEVEL", "-20"}}).level(), -20);
    EXPECT_EQ(overlay({{"SCRAWLET_OVERLAY_BEHAVIOR", "none"}}).behaviorBits(), 0);
}

TEST(OverlayConfig, MalformedValuesFallBack) {
    const OverlayConfig c = overlay({{"SCRAWLET_OVERLAY_SENTINEL_SIZE", "0"},
                                     {"SCRAWLET_OVERLAY_SENTINEL_INSET", "-3"},
                                     {"SCRAWLET_OVERLAY_SECONDS", "nan"},
                                     {"SCRAWLET_OVERLAY_FILL_ALPHA", "1.5"},
                                     {"SCRAWLET_OVERLAY_CLICKTHROUGH", "yes"},
                                     {"SCRAWLET_OVERLAY_LOG", ""},
                                     {"SCRAWLET_OVERLAY_LEVEL", "loud"}});
    const OverlayConfig defaults;
    EXPECT_EQ(c.sentinelSizePoints, defaults.sentinelSizePoints);
    EXPECT_EQ(c.sentinelInsetPoints, defaults.sentinelInsetPoints);
    EXPECT_FALSE(c.maxDurationSeconds);
    EXPECT_EQ(c.debugFillAlpha, 0);
    EXPECT_FALSE(c.startsIgnoringMouseEvents);
    EXPECT_EQ(c.logPath, defaults.logPath);
    EXPECT_EQ(c.level(), 1000) << "an unknown level token is the top level";
    EXPECT_FALSE(overlay({{"SCRAWLET_OVERLAY_SECONDS", "0"}}).maxDurationSeconds);
}

TEST(OverlayConfig, UnknownBehaviourTokensAreAUsageErrorNamingEachOne) {
    const auto refused =
        OverlayConfig::fromEnvironment(Environment(std::map<std::string, std::string>{
            {"SCRAWLET_OVERLAY_BEHAVIOR", "canJoinAllSpaces,bogus,Managed"}}));
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error(),
              (shell::ConfigExit{"overlay: unknown collectionBehavior tokens: bogus,Managed", 64}));
}

TEST(OverlaySentinel, SitsAtTheInsetAndStaysWholeOnTinyScreens) {
    EXPECT_EQ(sentinelRect({960, 1080}, 40, 24), QRectF(40, 40, 24, 24));
    EXPECT_EQ(sentinelRect({50, 30}, 40, 24), QRectF(26, 6, 24, 24));
    EXPECT_EQ(sentinelRect({10, 10}, 40, 24), QRectF(0, 0, 24, 24));
}

TEST(TextInputSpikeConfig, LiveFlagSecondsAndLog) {
    const auto read = [](std::map<std::string, std::string> values) {
        return TextInputSpikeConfig::fromEnvironment(Environment(std::move(values)));
    };
    EXPECT_FALSE(read({}).live);
    EXPECT_EQ(read({}).liveSeconds, 20);
    EXPECT_EQ(read({}).logPath, "/tmp/scrawlet-textspike.jsonl");
    EXPECT_TRUE(read({{"SCRAWLET_TEXTSPIKE_LIVE", "1"}}).live);
    EXPECT_FALSE(read({{"SCRAWLET_TEXTSPIKE_LIVE", "true"}}).live);
    EXPECT_EQ(read({{"SCRAWLET_TEXTSPIKE_SECONDS", "5"}}).liveSeconds, 5);
    for (const char* bad : {"0", "-1", "1e9", "ten"}) {
        EXPECT_EQ(read({{"SCRAWLET_TEXTSPIKE_SECONDS", bad}}).liveSeconds, 20) << bad;
    }
}

TEST(TextInputReport, ScriptedReportNamesEveryRouteWithItsCounts) {
    const auto ran = [](int panel, int monitor, std::string frontmost, bool stole) {
        RouteResult route;
        route.ran = true;
        route.keysSent = 5;
        route.panelKeys = panel;
        route.monitorHits = monitor;
        route.frontmost = std::move(frontmost);
        route.stoleFocus = stole;
        return route;
    };
    ScriptedReport r;
    r.accessibility = true;
    r.frontmostBefore = "Terminal";
    r.routeA = ran(5, 0, "Terminal", false);
    r.routeA2 = ran(4, 0, "scrawlet", true);
    r.routeB = ran(0, 5, "Terminal", false);
    r.routeC.skipped = "Accessibility not granted";
    EXPECT_EQ(formatScriptedReport(r),
              "scrawlet R1 spike — keyboard input to a non-activating overlay\n"
              "  accessibility: granted\n"
              "  frontmost before: Terminal\n"
              "  route A  (keyboard grab on the panel, focus unchanged): keys=5/5 "
              "frontmost=Terminal stoleFocus=false\n"
              "  route A2 (input focus to the panel): keysToPanel=4/5 frontmost=scrawlet "
              "stoleFocus=true\n"
              "  route B  (raw-key monitor, observes only): monitorHits=5/5 stoleFocus=false\n"
              "  route C  (consuming keyboard grab, monitor as control): skipped (Accessibility "
              "not granted)\n"
              "  Full log: the FrontmostLog path printed above.\n"
              "R1 spike complete\n");
}

TEST(TextInputReport, LiveTickPadsLikeItsFormat) {
    EXPECT_EQ(formatLiveTick(3, 12, 7, "Terminal"),
              "[ 3s] panel=12   typed=7    frontmost=Terminal");
    EXPECT_EQ(formatLiveTick(120, 12345, 0, "(none)"),
              "[120s] panel=12345 typed=0    frontmost=(none)");
}

TEST(TextInputReport, OneVerdictPerOutcome) {
    EXPECT_EQ(liveVerdict(4, false), "=> route A holds live: keys arrive, focus never moves.");
    EXPECT_EQ(liveVerdict(4, true),
              "=> keys arrive but focus moved. Route A costs what P4 says it costs.");
    EXPECT_EQ(liveVerdict(0, false),
              "=> route A does NOT deliver live keys. Synthetic result was an artefact.");
    EXPECT_EQ(liveVerdict(0, true), liveVerdict(0, false)) << "no keys outweighs the focus";
    EXPECT_EQ(frontmostLabel("", "org.x.Y"), "org.x.Y");
    EXPECT_EQ(frontmostLabel("", ""), "(none)");
}

TEST(FrontmostLogFocus, EverBecameFrontmostStaysOnceSeen) {
    log::FrontmostLog log;
    EXPECT_FALSE(log.everBecameFrontmost());
    log.setFrontmost({"org.example.App", "App", false});
    EXPECT_FALSE(log.everBecameFrontmost());
    log.setFrontmost({"org.scrawlet.Scrawlet", "scrawlet", true});
    log.setFrontmost({"org.example.App", "App", false});
    EXPECT_TRUE(log.everBecameFrontmost());
}

TEST(CaptureConfig, DefaultsAndEveryVariable) {
    const CaptureConfig d = CaptureConfig::fromEnvironment(Environment());
    EXPECT_EQ(d.logPath, "/tmp/scrawlet-capture.jsonl");
    EXPECT_EQ(d.summaryPath, "/tmp/scrawlet-capture.json");
    EXPECT_EQ(d.lingerSeconds, 0);
    EXPECT_EQ(d.requestedFPS, 60);
    EXPECT_EQ(d.maxRestarts, 20);
    EXPECT_EQ(d.maxRetryAttempts, 120);
    EXPECT_FALSE(d.excludeOverlay || d.animateContent || d.recoverStream);
    EXPECT_FALSE(d.fiducialRect || d.dumpFramePath);
    const CaptureConfig c = CaptureConfig::fromEnvironment(
        Environment({{"SCRAWLET_CAPTURE_SECONDS", "3"},
                     {"SCRAWLET_CAPTURE_LINGER", "0.5"},
                     {"SCRAWLET_CAPTURE_DISPLAY", "1"},
                     {"SCRAWLET_CAPTURE_FPS", "30"},
                     {"SCRAWLET_CAPTURE_EXCLUDE_OVERLAY", "1"},
                     {"SCRAWLET_CAPTURE_ANIMATE", "1"},
                     {"SCRAWLET_CAPTURE_RECOVER", "1"},
                     {"SCRAWLET_CAPTURE_MAX_RESTARTS", "0"},
                     {"SCRAWLET_CAPTURE_MAX_RETRIES", "5"},
                     {"SCRAWLET_CAPTURE_FIDUCIAL", "100,200,50.5,20"},
                     {"SCRAWLET_CAPTURE_DUMP_FRAME", "/x/f.png"}}));
    EXPECT_EQ(c.seconds, 3);
    EXPECT_EQ(c.lingerSeconds, 0.5);
    EXPECT_EQ(c.displayIndex, 1);
    EXPECT_EQ(c.requestedFPS, 30);
    EXPECT_TRUE(c.excludeOverlay && c.animateContent && c.recoverStream);
    EXPECT_EQ(c.maxRestarts, 0);
    EXPECT_EQ(c.maxRetryAttempts, 5);
    EXPECT_EQ(c.fiducialRect, QRectF(100, 200, 50.5, 20));
    EXPECT_EQ(c.dumpFramePath, "/x/f.png");
}

TEST(CaptureConfig, MalformedValuesFallBack) {
    const CaptureConfig c =
        CaptureConfig::fromEnvironment(Environment({{"SCRAWLET_CAPTURE_SECONDS", "-1"},
                                                    {"SCRAWLET_CAPTURE_DISPLAY", "-1"},
                                                    {"SCRAWLET_CAPTURE_FPS", "0"},
                                                    {"SCRAWLET_CAPTURE_EXCLUDE_OVERLAY", "true"},
                                                    {"SCRAWLET_CAPTURE_MAX_RESTARTS", "2.5"}}));
    const CaptureConfig d;
    EXPECT_EQ(c.seconds, d.seconds);
    EXPECT_EQ(c.displayIndex, 0);
    EXPECT_EQ(c.requestedFPS, 60);
    EXPECT_FALSE(c.excludeOverlay);
    EXPECT_EQ(c.maxRestarts, 20);
    for (const char* bad : {"", "1,2,3", "1,2,3,4,5", "1,2,0,4", "1,2,-3,4", "a,b,c,d", "1,2,3,"}) {
        EXPECT_FALSE(CaptureConfig::rectangle(bad)) << bad;
    }
    EXPECT_EQ(CaptureConfig::rectangle("-5,0,1,1"), QRectF(-5, 0, 1, 1));
}

QImage frameWith(const QRect& square, QRgb colour) {
    QImage image(200, 100, QImage::Format_RGB32);
    image.fill(qRgb(30, 30, 30));
    for (int y = square.top(); y <= square.bottom(); ++y) {
        for (int x = square.left(); x <= square.right(); ++x) {
            if (image.rect().contains(x, y)) {
                image.setPixel(x, y, colour);
            }
        }
    }
    return image;
}

TEST(FrameProbe, SentinelFoundOnlyWhereAndAsItIsDrawn) {
    const QRgb magenta = qRgb(255, 0, 255);
    const QRect square(40, 40, 24, 24);
    const auto whole = probeSentinel(frameWith(square, magenta), square, magenta);
    EXPECT_TRUE(whole.present);
    EXPECT_DOUBLE_EQ(whole.match, 1.0);
    // A compositor's slight blend still matches; another colour or an empty frame does not.
    EXPECT_TRUE(probeSentinel(frameWith(square, qRgb(240, 12, 250)), square, magenta).present);
    EXPECT_FALSE(probeSentinel(frameWith(square, qRgb(255, 0, 0)), square, magenta).present);
    EXPECT_FALSE(probeSentinel(frameWith({}, magenta), square, magenta).present);
    // Shifted by two pixels, it is still there.
    EXPECT_TRUE(
        probeSentinel(frameWith(square.translated(2, 2), magenta), square, magenta).present);
    // Cut by the frame's edge, the part outside counts as missing.
    const QRect edge(190, 10, 24, 24);
    const auto cut = probeSentinel(frameWith(edge, magenta), edge, magenta);
    EXPECT_LT(cut.match, 0.5);
    EXPECT_GT(cut.match, 0.0);
}

TEST(FrameProbe, FiducialCountsItsPixelsAndFindsItsCentre) {
    const QRgb green = qRgb(0, 255, 0);
    const QRect rect(100, 20, 40, 20);
    const auto found = probeFiducial(frameWith(rect, green), rect, green);
    EXPECT_TRUE(found.present);
    EXPECT_EQ(found.pixels, 800);
    EXPECT_DOUBLE_EQ(found.x, 120);
    EXPECT_DOUBLE_EQ(found.y, 30);
    const auto shifted = probeFiducial(frameWith(rect.translated(3, 1), green), rect, green);
    EXPECT_TRUE(shifted.present);
    EXPECT_DOUBLE_EQ(shifted.x, 123);
    const auto none = probeFiducial(frameWith({}, green), rect, green);
    EXPECT_FALSE(none.present);
    EXPECT_EQ(none.pixels, 0);
    EXPECT_EQ(none.x, 0);
}

}  // namespace
}  // namespace scrawlet::diagnostics
