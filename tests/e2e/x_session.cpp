#include "tests/e2e/x_session.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/randr.h>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include <QGuiApplication>
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>
#include <vector>

namespace scrawlet::e2e {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kStartTimeout = std::chrono::seconds(20);
constexpr auto kStopTimeout = std::chrono::seconds(5);
// The descriptor number Xvfb is told to report its display on.
constexpr int kDisplayFd = 3;

class UniqueFd {
  public:
    explicit UniqueFd(int fd = -1) : fd_(fd) {}
    ~UniqueFd() { reset(); }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;
    int get() const { return fd_; }
    void reset(int fd = -1) {
        if (fd_ >= 0)
            close(fd_);
        fd_ = fd;
    }

  private:
    int fd_;
};

struct XcbDisconnect {
    void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};
using XcbConnection = std::unique_ptr<xcb_connection_t, XcbDisconnect>;

template <typename Reply>
using XcbReply = std::unique_ptr<Reply, decltype(&std::free)>;

// glibc 2.36 declares pidfd_open without C linkage, so C++ cannot link against it.
int pidfdOpen(pid_t pid) {
    return static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
}

int millisecondsUntil(Clock::time_point deadline) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    return static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0));
}

// Resolved before fork: the child may only make async-signal-safe calls until exec.
std::optional<std::string> findProgram(std::string_view name) {
    const char* path = std::getenv("PATH");
    std::string_view rest = path ? path : "/usr/local/bin:/usr/bin:/bin";
    while (!rest.empty()) {
        const auto colon = rest.find(':');
        const auto folder = rest.substr(0, colon);
        rest = colon == std::string_view::npos ? std::string_view{} : rest.substr(colon + 1);
        if (folder.empty())
            continue;
        std::string candidate = std::string(folder) + "/" + std::string(name);
        if (access(candidate.c_str(), X_OK) == 0)
            return candidate;
    }
    return std::nullopt;
}

// `passFd`, when given, reaches the child as descriptor kDisplayFd.
std::expected<pid_t, std::string> spawn(std::string_view program, std::vector<std::string> args,
                                        int passFd = -1) {
    const auto path = findProgram(program);
    if (!path)
        return std::unexpected(std::string(program) + " is not installed");
    args.insert(args.begin(), *path);
    std::vector<char*> argv;
    for (auto& arg : args) argv.push_back(arg.data());
    argv.push_back(nullptr);

    const pid_t parent = getpid();
    const pid_t pid = fork();
    if (pid < 0)
        return std::unexpected(std::string("fork failed: ") + std::strerror(errno));
    if (pid == 0) {
        // A crashed or killed test must not leave its server behind.
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (getppid() != parent)
            _exit(127);
        if (passFd >= 0) {
            if (passFd == kDisplayFd)
                fcntl(passFd, F_SETFD, 0);
            else if (dup2(passFd, kDisplayFd) < 0)
                _exit(127);
        }
        execv(path->c_str(), argv.data());
        _exit(127);
    }
    return pid;
}

void stop(pid_t pid) {
    if (pid <= 0)
        return;
    kill(pid, SIGTERM);
    const UniqueFd exited(pidfdOpen(pid));
    pollfd wait{exited.get(), POLLIN, 0};
    const bool stopped =
        exited.get() >= 0 &&
        poll(&wait, 1, static_cast<int>(std::chrono::milliseconds(kStopTimeout).count())) == 1;
    if (!stopped)
        kill(pid, SIGKILL);
    while (waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
    }
}

// Xvfb writes the number it chose, then a newline, once it accepts connections; it closes the
// pipe if it dies first.
std::expected<std::string, std::string> readDisplayNumber(int fd, Clock::time_point deadline) {
    std::string text;
    while (text.find('\n') == std::string::npos) {
        pollfd readable{fd, POLLIN, 0};
        const int ready = poll(&readable, 1, millisecondsUntil(deadline));
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0)
            return std::unexpected("Xvfb did not report a display in time");
        char buffer[32];
        const ssize_t got = read(fd, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return std::unexpected("Xvfb exited before reporting a display");
        text.append(buffer, static_cast<std::size_t>(got));
    }
    text.resize(text.find('\n'));
    if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos)
        return std::unexpected("Xvfb reported an odd display: " + text);
    return text;
}

bool hasSelectionOwner(xcb_connection_t* connection, xcb_atom_t selection) {
    const XcbReply<xcb_get_selection_owner_reply_t> owner(
        xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, selection),
                                      nullptr),
        &std::free);
    return owner && owner->owner != XCB_NONE;
}

// Waits until the compositing-manager selection is owned (or, with `owned` false, free) on
// XFixes selection events rather than polling, and on the compositor's pidfd so that a
// compositor which dies during its start is reported at once instead of at the deadline.
std::expected<void, std::string> awaitCompositingManager(const std::string& display,
                                                         pid_t compositor,
                                                         Clock::time_point deadline,
                                                         bool owned = true) {
    int screenNumber = 0;
    const XcbConnection connection(xcb_connect(display.c_str(), &screenNumber));
    if (xcb_connection_has_error(connection.get()))
        return std::unexpected("cannot connect to " + display);
    xcb_connection_t* c = connection.get();

    const std::string name = "_NET_WM_CM_S" + std::to_string(screenNumber);
    const XcbReply<xcb_intern_atom_reply_t> atom(
        xcb_intern_atom_reply(
            c, xcb_intern_atom(c, 0, static_cast<std::uint16_t>(name.size()), name.c_str()),
            nullptr),
        &std::free);
    const xcb_query_extension_reply_t* xfixes = xcb_get_extension_data(c, &xcb_xfixes_id);
    if (!atom || !xfixes || !xfixes->present)
        return std::unexpected("the server lacks XFixes");
    const XcbReply<xcb_xfixes_query_version_reply_t> version(
        xcb_xfixes_query_version_reply(c, xcb_xfixes_query_version(c, 5, 0), nullptr), &std::free);
    if (!version)
        return std::unexpected("XFixes version query failed");

    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(c));
    for (int i = 0; i < screenNumber && screens.rem > 0; ++i) xcb_screen_next(&screens);
    xcb_xfixes_select_selection_input(c, screens.data->root, atom->atom,
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
    // Selected before asking, so an owner that changes in between still sends its event.
    if (hasSelectionOwner(c, atom->atom) == owned)
        return {};

    const UniqueFd exited(owned ? pidfdOpen(compositor) : -1);
    const std::uint8_t notify = xfixes->first_event + XCB_XFIXES_SELECTION_NOTIFY;
    while (true) {
        while (auto* event = xcb_poll_for_event(c)) {
            const bool changed = (event->response_type & 0x7f) == notify;
            std::free(event);
            if (changed && hasSelectionOwner(c, atom->atom) == owned)
                return {};
        }
        if (xcb_connection_has_error(c))
            return std::unexpected("lost the connection to " + display);
        pollfd fds[2] = {{xcb_get_file_descriptor(c), POLLIN, 0}, {exited.get(), POLLIN, 0}};
        const int ready = poll(fds, exited.get() >= 0 ? 2 : 1, millisecondsUntil(deadline));
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0)
            return std::unexpected(owned ? "no compositing manager took " + name + " in time"
                                         : name + " stayed owned");
        if (fds[1].revents != 0)
            return std::unexpected("xcompmgr exited during start-up");
    }
}

std::unique_ptr<XSession>& sharedSession() {
    static std::unique_ptr<XSession> session;
    return session;
}

}  // namespace

std::expected<std::unique_ptr<XSession>, std::string> XSession::start(Compositing compositing) {
    const auto deadline = Clock::now() + kStartTimeout;
    std::unique_ptr<XSession> session(new XSession);

    int pipeFds[2];
    if (pipe2(pipeFds, O_CLOEXEC) != 0)
        return std::unexpected(std::string("pipe failed: ") + std::strerror(errno));
    const UniqueFd readEnd(pipeFds[0]);
    UniqueFd writeEnd(pipeFds[1]);
    auto server = spawn("Xvfb",
                        {"-displayfd", std::to_string(kDisplayFd), "-noreset", "-screen", "0",
                         "1920x1080x24", "+extension", "GLX", "+extension", "RANDR"},
                        writeEnd.get());
    if (!server)
        return std::unexpected(server.error());
    session->serverPid_ = *server;
    // Only the server may hold the write end, so that its death reads as end of file.
    writeEnd.reset();

    const auto number = readDisplayNumber(readEnd.get(), deadline);
    if (!number)
        return std::unexpected(number.error());
    session->displayName_ = ":" + *number;

    if (compositing == Compositing::on) {
        if (auto ready = session->startCompositor(deadline); !ready)
            return std::unexpected(ready.error());
    }
    return session;
}

std::expected<void, std::string> XSession::startCompositor() {
    return startCompositor(Clock::now() + kStartTimeout);
}

std::expected<void, std::string> XSession::startCompositor(
    std::chrono::steady_clock::time_point deadline) {
    if (compositorPid_ > 0)
        return {};
    auto compositor = spawn("xcompmgr", {"-d", displayName_});
    if (!compositor)
        return std::unexpected(compositor.error());
    compositorPid_ = *compositor;
    return awaitCompositingManager(displayName_, compositorPid_, deadline);
}

std::expected<void, std::string> XSession::stopCompositor() {
    if (compositorPid_ <= 0)
        return {};
    stop(compositorPid_);
    compositorPid_ = -1;
    // The server frees the selection once it notices the closed connection, a moment later.
    return awaitCompositingManager(displayName_, -1, Clock::now() + kStopTimeout, false);
}

XSession::~XSession() {
    // The compositor first: it is a client, and would otherwise see its server vanish.
    stop(compositorPid_);
    stop(serverPid_);
}

void XSession::exportToProcess() const {
    setenv("DISPLAY", displayName_.c_str(), 1);
    setenv("QT_QPA_PLATFORM", "xcb", 1);
}

namespace {

// Runs xrandr against the session and waits for it: libxcb's SetMonitor request proved
// unreliable, Xlib's is not.
int runXrandr(const std::string& display, std::vector<std::string> args) {
    args.insert(args.begin(), {"-display", display});
    const auto pid = spawn("xrandr", std::move(args));
    if (!pid)
        return -1;
    int status = 0;
    while (waitpid(*pid, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::vector<std::string> monitorNames(const std::string& display) {
    std::vector<std::string> names;
    int screenNumber = 0;
    const XcbConnection connection(xcb_connect(display.c_str(), &screenNumber));
    xcb_connection_t* c = connection.get();
    if (xcb_connection_has_error(c))
        return names;
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(c));
    for (int i = 0; i < screenNumber && screens.rem > 0; ++i) xcb_screen_next(&screens);
    XcbReply<xcb_randr_get_monitors_reply_t> monitors(
        xcb_randr_get_monitors_reply(c, xcb_randr_get_monitors(c, screens.data->root, 0), nullptr),
        &std::free);
    if (!monitors)
        return names;
    for (auto it = xcb_randr_get_monitors_monitors_iterator(monitors.get()); it.rem > 0;
         xcb_randr_monitor_info_next(&it)) {
        XcbReply<xcb_get_atom_name_reply_t> name(
            xcb_get_atom_name_reply(c, xcb_get_atom_name(c, it.data->name), nullptr), &std::free);
        if (name)
            names.emplace_back(xcb_get_atom_name_name(name.get()),
                               xcb_get_atom_name_name_length(name.get()));
    }
    return names;
}

bool hasMonitor(const std::string& display, const std::string& name) {
    const auto names = monitorNames(display);
    return std::find(names.begin(), names.end(), name) != names.end();
}

}  // namespace

std::vector<XSession::Monitor> XSession::twoMonitors() {
    return {{"A", 0, 0, 960, 1080}, {"B", 960, 0, 960, 1080}};
}

std::expected<void, std::string> XSession::setMonitors(const std::vector<Monitor>& monitors) const {
    // The server lists a monitor of its own for every lit output: switch Xvfb's off. Its frame
    // buffer, and so the root window's image, stays.
    runXrandr(displayName_, {"--output", "screen", "--off"});
    for (const std::string& name : monitorNames(displayName_)) {
        const bool kept = std::any_of(monitors.begin(), monitors.end(),
                                      [&](const Monitor& m) { return m.name == name; });
        if (!kept)
            runXrandr(displayName_, {"--delmonitor", name});
    }
    for (const Monitor& monitor : monitors) {
        if (auto added = addMonitor(monitor); !added)
            return added;
    }
    return {};
}

std::expected<void, std::string> XSession::removeMonitor(const std::string& name) const {
    // xrandr resizes the screen afterwards and reports that as a failure; the monitor list
    // is the real answer.
    runXrandr(displayName_, {"--delmonitor", name});
    if (hasMonitor(displayName_, name))
        return std::unexpected("monitor " + name + " is still there");
    return {};
}

std::expected<void, std::string> XSession::addMonitor(const Monitor& monitor) const {
    // Millimetres at about 96 dpi; only the ratio matters to Qt.
    const auto size = [](int pixels) {
        return std::to_string(pixels) + "/" + std::to_string(pixels * 254 / 960);
    };
    const std::string geometry = size(monitor.width) + "x" + size(monitor.height) + "+" +
                                 std::to_string(monitor.x) + "+" + std::to_string(monitor.y);
    runXrandr(displayName_, {"--setmonitor", monitor.name, geometry, "none"});
    if (!hasMonitor(displayName_, monitor.name))
        return std::unexpected("xrandr could not define monitor " + monitor.name);
    return {};
}

void XSessionEnvironment::SetUp() {
    auto session = XSession::start();
    ASSERT_TRUE(session.has_value()) << "X session: " << session.error();
    sharedSession() = std::move(*session);
}

void XSessionEnvironment::TearDown() {
    sharedSession().reset();
}

XSession& XSessionEnvironment::session() {
    return *sharedSession();
}

namespace {

int applicationArgc = 1;
char applicationName[] = "scrawlet_e2e_tests";
char* applicationArgv[] = {applicationName, nullptr};
QGuiApplication* suiteApplication = nullptr;

}  // namespace

void GuiTestSuite::SetUpTestSuite() {
    XSessionEnvironment::session().exportToProcess();
    suiteApplication = new QGuiApplication(applicationArgc, applicationArgv);
}

void GuiTestSuite::TearDownTestSuite() {
    delete suiteApplication;
    suiteApplication = nullptr;
}

bool XSession::xrandr(std::vector<std::string> args) const {
    return runXrandr(displayName_, std::move(args)) == 0;
}

}  // namespace scrawlet::e2e
