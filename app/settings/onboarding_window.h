// The welcome window of the first launch: what Scrawlet does, the two grants it needs and
// whether they are held, and "Skip" / "Get Started".
//
// The grants are looked at once, when the window is built. Every way of leaving the window
// reaches `onDismiss` exactly once with its note: "skipped" (the Skip button, or the title
// bar's close button: the user has seen the window and chose not to go through it),
// "completed" (Get Started, also Return), or whatever note the owner's own `dismiss` passes.
// The owner saves the flag; the window only reports. An owner that drops the window from
// `onDismiss` does so with deleteLater. Main thread only.
#pragma once

#include <QWidget>
#include <functional>
#include <string>

class QLabel;

namespace scrawlet::settings {

class OnboardingWindowController : public QWidget {
    Q_OBJECT

  public:
    static constexpr int kWidthPoints = 480;
    static constexpr int kHeightPoints = 460;
    static constexpr int kTextWidthPoints = 432;

    struct Grants {
        bool screenRecording = false;
        bool accessibility = false;
    };

    explicit OnboardingWindowController(Grants grants);

    std::function<void(const std::string&)> onDismiss;

    // Reports `note` (unless already dismissed) and closes the window.
    void dismiss(const std::string& note);
    bool dismissed() const { return dismissed_; }

    // The text of a grant's block, lines joined by '\n', as shown.
    static std::string permissionText(const std::string& grant, const std::string& unlocks,
                                      bool granted);

  protected:
    void closeEvent(QCloseEvent* event) override;

  private:
    void report(const std::string& note);

    bool dismissed_ = false;
};

}  // namespace scrawlet::settings
