// Owner of a file descriptor.
#pragma once

#include <unistd.h>

#include <memory>
#include <utility>

namespace dm::platform {

/// Closes its descriptor on scope exit; -1 owns nothing.
class Fd {
public:
    Fd() = default;
    explicit Fd(int descriptor) : descriptor_(descriptor) {}
    Fd(Fd &&other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    Fd &operator=(Fd &&other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    Fd(const Fd &) = delete;
    Fd &operator=(const Fd &) = delete;
    ~Fd() { reset(); }

    explicit operator bool() const { return descriptor_ >= 0; }
    int get() const { return descriptor_; }
    int release() { return std::exchange(descriptor_, -1); }
    void reset() {
        if (descriptor_ >= 0)
            close(std::exchange(descriptor_, -1));
    }

private:
    int descriptor_ = -1;
};

/// Closed when the last owner has let it go.
using SharedFd = std::shared_ptr<const Fd>;

} // namespace dm::platform
