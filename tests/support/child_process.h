// Runs a program with a given environment and collects its standard error, for tests that
// check a whole process: exit statuses, message lines, signals. Waits are bounded; a child
// still running when the object goes is killed and reaped.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace scrawlet::testing {

class ChildProcess {
  public:
    // With `outputToo`, standard output goes into the same pipe, so that standardError() holds
    // both streams in the order the child wrote them.
    ChildProcess(const std::string& program, const std::vector<std::string>& environment,
                 bool outputToo = false) {
        int fds[2];
        if (::pipe2(fds, O_CLOEXEC) != 0) {
            return;
        }
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, fds[1], STDERR_FILENO);
        if (outputToo) {
            posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
        }
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        std::vector<char*> envp;
        for (const auto& entry : environment) {
            envp.push_back(const_cast<char*>(entry.c_str()));
        }
        envp.push_back(nullptr);
        char* argv[] = {const_cast<char*>(program.c_str()), nullptr};
        // The child starts with no blocked signals, whatever this test process blocks.
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        sigset_t none;
        sigemptyset(&none);
        posix_spawnattr_setsigmask(&attributes, &none);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
        if (posix_spawn(&pid_, program.c_str(), &actions, &attributes, argv, envp.data()) != 0) {
            pid_ = -1;
        }
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&actions);
        ::close(fds[1]);
        errorFd_ = fds[0];
    }
    ~ChildProcess() {
        if (pid_ > 0 && !status_) {
            ::kill(pid_, SIGKILL);
            wait(std::chrono::seconds(5));
        }
        if (errorFd_ >= 0) {
            ::close(errorFd_);
        }
    }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    bool started() const { return pid_ > 0; }
    // -1 when the spawn failed.
    pid_t pid() const { return pid_; }
    void signal(int number) const {
        if (pid_ > 0 && !status_) {
            ::kill(pid_, number);
        }
    }

    // Reads standard error until `text` has appeared at or after offset `from` or the time is
    // up; a later `from` waits for a message the program repeats.
    bool waitForError(const std::string& text, std::chrono::milliseconds limit,
                      std::size_t from = 0) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (standardError_.find(text, from) == std::string::npos) {
            if (!readSome(deadline)) {
                return false;
            }
        }
        return true;
    }

    // The exit status once the child has ended (all of standard error read), or none.
    std::optional<int> wait(std::chrono::milliseconds limit) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (readSome(deadline)) {
        }
        while (!status_ && std::chrono::steady_clock::now() < deadline) {
            int raw = 0;
            if (::waitpid(pid_, &raw, WNOHANG) == pid_) {
                status_ = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
                break;
            }
            ::usleep(2000);
        }
        if (!status_ && std::chrono::steady_clock::now() >= deadline && pid_ > 0) {
            int raw = 0;
            if (::waitpid(pid_, &raw, WNOHANG) == pid_) {
                status_ = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
            }
        }
        return status_;
    }

    const std::string& standardError() const { return standardError_; }

  private:
    // False at end of file or when the deadline passes.
    bool readSome(std::chrono::steady_clock::time_point deadline) {
        if (errorFd_ < 0) {
            return false;
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            return false;
        }
        pollfd pfd{errorFd_, POLLIN, 0};
        if (::poll(&pfd, 1, static_cast<int>(left.count())) <= 0) {
            return false;
        }
        char buffer[4096];
        const ssize_t n = ::read(errorFd_, buffer, sizeof buffer);
        if (n <= 0) {
            ::close(errorFd_);
            errorFd_ = -1;
            return false;
        }
        standardError_.append(buffer, static_cast<std::size_t>(n));
        return true;
    }

    pid_t pid_ = -1;
    int errorFd_ = -1;
    std::string standardError_;
    std::optional<int> status_;
};

}  // namespace scrawlet::testing
