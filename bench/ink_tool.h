// One run of an ink tool under the comparison: the scrawlet program in draw mode or gromit-mpx,
// each with a private home and configuration folder so that no user setting is read or written,
// and an unreachable session bus so that neither starts bus daemons the bench would not own.
// Both draw opaque red (#ff0000) four pixels wide with the left button.
//
// The process is ended by PID: SIGTERM from `finish`, SIGKILL if it is still running when the
// object goes. `runningToolPid` names it for a watchdog.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/unit/app/temporary_folder.h"

namespace scrawlet::bench {

extern std::atomic<pid_t> runningToolPid;

enum class InkTool { scrawlet, gromit };

const char* toolName(InkTool tool);
// Whether the tool can run here; gromit-mpx is optional.
bool toolInstalled(InkTool tool);

class ToolRun {
  public:
    // `extra` is added to the scrawlet program's environment.
    ToolRun(InkTool tool, const std::string& display, const std::vector<std::string>& extra = {});
    ~ToolRun();
    ToolRun(const ToolRun&) = delete;
    ToolRun& operator=(const ToolRun&) = delete;

    pid_t pid() const { return process_->pid(); }
    bool running();
    // For the scrawlet program, until its start-up banner is out; at once for gromit-mpx, which
    // prints none.
    bool awaitStarted();
    // The events the scrawlet program reports having drawn (on SIGPWR); nothing for gromit-mpx.
    std::optional<std::uint64_t> drawnEvents();
    // Reads what the tool wrote to standard error, so that a chatty tool never blocks on a full
    // pipe.
    void drain();
    // SIGTERM, then waits for the exit; false if it did not end.
    bool finish();
    // Prints why, with the tool's standard error; always false.
    bool fail(const std::string& why);

  private:
    InkTool tool_;
    scrawlet::testing::TemporaryFolder home_;
    std::unique_ptr<scrawlet::testing::ChildProcess> process_;
};

}  // namespace scrawlet::bench
