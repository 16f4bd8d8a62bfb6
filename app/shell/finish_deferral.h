// The one rule every request to end a run passes through: while a capture is under way (a
// region being selected, a screenshot not yet written) the request waits, looking again every
// 0.05 s; after 5 s of waiting the run ends anyway, so a capture that never completes cannot
// keep the process alive. Main thread only.
#pragma once

#include <QObject>
#include <chrono>
#include <functional>
#include <string>

namespace scrawlet::shell {

class FinishDeferral : public QObject {
    Q_OBJECT

  public:
    static constexpr std::chrono::milliseconds kRecheckInterval{50};
    static constexpr double kLongestWaitSeconds = 5.0;

    FinishDeferral(std::function<bool()> capturePending,
                   std::function<void(const std::string&)> finish);

    void request(const std::string& reason) { check(reason, 0); }

  private:
    void check(const std::string& reason, double waitedSeconds);

    std::function<bool()> capturePending_;
    std::function<void(const std::string&)> finish_;
};

}  // namespace scrawlet::shell
