#include "platform/linux/closer.h"

#include <fcntl.h>
#include <pthread.h>

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>

namespace dm::platform {
namespace {

/// With so many waiting the disk is the slower side, and the caller closes its own.
constexpr std::size_t mostWaiting = 64;

void giveUpLease(const Fd &file) {
    fcntl(file.get(), F_SETLEASE, F_UNLCK);
}

class Closer {
public:
    Closer() : thread_([this] { run(); }) {}
    Closer(const Closer &) = delete;
    Closer &operator=(const Closer &) = delete;
    ~Closer() {
        {
            const std::lock_guard lock(mutex_);
            ending_ = true;
        }
        changed_.notify_all();
        thread_.join();
    }

    /// False, with the file still the caller's, where too many wait.
    bool add(Fd &file) {
        {
            const std::lock_guard lock(mutex_);
            if (waiting_.size() == mostWaiting)
                return false;
            waiting_.push_back(std::move(file));
        }
        changed_.notify_all();
        return true;
    }

    void finish() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return waiting_.empty(); });
    }

private:
    /// A file leaves the queue when it is closed, so that an empty queue means that all are.
    void run() {
        std::unique_lock lock(mutex_);
        for (;;) {
            changed_.wait(lock, [this] { return ending_ || !waiting_.empty(); });
            if (waiting_.empty())
                return;
            Fd &file = waiting_.front();
            lock.unlock();
            giveUpLease(file);
            file.reset();
            lock.lock();
            waiting_.pop_front();
            if (waiting_.empty())
                changed_.notify_all();
        }
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Fd> waiting_;
    bool ending_ = false;
    std::thread thread_;
};

std::mutex closerMutex;
std::unique_ptr<Closer> closer;

/// A forked child has the closer's memory but not its thread.
void forgetCloser() {
    static_cast<void>(closer.release());
}

Closer &theCloser() {
    static const int registered = pthread_atfork(nullptr, nullptr, forgetCloser);
    static_cast<void>(registered);
    const std::lock_guard lock(closerMutex);
    if (!closer)
        closer = std::make_unique<Closer>();
    return *closer;
}

} // namespace

void closeRemoved(Fd file) {
    if (!theCloser().add(file))
        giveUpLease(file);
}

void finishClosing() {
    const std::lock_guard lock(closerMutex);
    if (closer)
        closer->finish();
}

} // namespace dm::platform
