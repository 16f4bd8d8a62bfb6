// Which application the user is working in, for the event log.
#pragma once

#include <functional>
#include <string>

namespace scrawlet::platform {

struct FrontmostApp {
    std::string bundleId;  // the window's class; empty when the window manager says nothing
    std::string name;
    bool isOurs = false;
    bool operator==(const FrontmostApp&) const = default;
};

// Implemented by the window-system layer. It follows the frontmost application as the window
// system announces changes, so reading it costs nothing; `onChange` runs on the main thread
// after each change.
class FrontmostAppProvider {
  public:
    virtual ~FrontmostAppProvider() = default;
    virtual FrontmostApp frontmostApp() const = 0;
    void setOnChange(std::function<void(const FrontmostApp&)> onChange) {
        onChange_ = std::move(onChange);
    }

  protected:
    void changed(const FrontmostApp& app) const {
        if (onChange_) {
            onChange_(app);
        }
    }

  private:
    std::function<void(const FrontmostApp&)> onChange_;
};

}  // namespace scrawlet::platform
