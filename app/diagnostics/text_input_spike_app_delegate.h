// The text-input check: which ways of reaching the keyboard let a panel that never activates
// this application read keys.
//
// Scripted, four routes run one after another, each typing the same keys through the
// server's test input: A grabs the keyboard for the panel and leaves the focus where it is,
// A2 gives the panel the input focus, B only watches raw keys, C takes the keyboard from
// everyone with the raw-key monitor as its control. The report follows and the run ends.
// Live, route A holds for the configured seconds while the operator types elsewhere. Every
// step is also a record of the focus log. Main thread only.
#pragma once

#include <QObject>
#include <QRasterWindow>
#include <QTimer>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/diagnostics/text_input_report.h"
#include "app/platform/platform_services.h"
#include "app/shell/draw_config.h"
#include "app/shell/signal_relay.h"

namespace scrawlet::diagnostics {

// A panel that can take the keyboard without activating the application; it counts the key
// presses that reach it.
class KeyCapableSpikePanel : public QRasterWindow {
  public:
    KeyCapableSpikePanel();
    int keyCount = 0;

  protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
};

class TextInputSpikeAppDelegate : public QObject {
    Q_OBJECT

  public:
    explicit TextInputSpikeAppDelegate(TextInputSpikeConfig config);
    ~TextInputSpikeAppDelegate() override;

    std::optional<shell::ConfigExit> launch();

  signals:
    void finished(int status);

  private:
    void runScripted();
    void scheduleStep(std::size_t step);
    void awaitDelivery();
    int deliveredSoFar() const;
    void routeA();
    void routeA2();
    void routeB();
    void routeC();
    void countRouteA();
    void countRouteA2();
    void countRouteB();
    void countRouteC();
    void report();
    void runLive();
    void liveTick();
    bool grabForPanel();
    bool startMonitor();
    // Schedules the route's keys; returns how many will be typed.
    int typeKeys();
    void typeNextKey();
    bool focusStolen() const;
    std::string frontmostNow() const;
    void finish(const std::string& reason);

    TextInputSpikeConfig config_;
    std::unique_ptr<KeyCapableSpikePanel> panel_;
    std::unique_ptr<platform::KeyMonitor> monitor_;
    std::unique_ptr<platform::KeyboardTap> tap_;
    std::unique_ptr<platform::SyntheticInput> input_;
    std::unique_ptr<platform::FrontmostAppProvider> frontmost_;
    shell::SignalRelay signals_;
    QTimer liveClock_;
    QTimer typer_;
    QTimer delivery_;
    double scriptStartedAt_ = 0;
    std::size_t step_ = 0;
    int keysLeft_ = 0;
    bool accessibility_ = false;
    std::string frontmostBefore_;
    std::string frontmostWhileKey_;
    std::string frontmostWhileActivated_;
    bool panelBecameKey_ = false;
    int keysRouteA_ = 0;
    int keysRouteA2_ = 0;
    int panelKeysBefore_ = 0;
    int monitorHitsRouteB_ = 0;
    int monitorHitsRouteC_ = 0;
    int tapHitsRouteC_ = 0;
    // Raw presses the monitor saw since it started.
    int monitorHits_ = 0;
    ScriptedReport report_;
    int liveSecond_ = 0;
    std::vector<std::string> liveSamples_;
    bool liveFocusMoved_ = false;
    bool finished_ = false;
};

}  // namespace scrawlet::diagnostics
