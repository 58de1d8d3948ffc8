// Work on many things by several threads, whose results come in the order of the things.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace tools {

// Calls `next()` for one thing after the other until it gives nothing, on any thread but never on
// two at once; `work(thing)`, of a `makeWork()` for each thread, for all of them at once; and
// `use(result)` on this thread, in the order of the things. Of what was taken and not used there
// are at most 16 for each thread. `next` and `work` must not throw; what `use` throws ends it.
template <class Thing, class Result>
class WorkInOrder {
  public:
    using Next = std::function<std::optional<Thing>()>;
    using Work = std::function<Result(Thing)>;

    WorkInOrder(unsigned threads, Next next)
        : next_(std::move(next)), window_(std::size_t{16} * threads) {}

    void run(const std::function<Work()>& makeWork, const std::function<void(Result)>& use) {
        std::vector<std::jthread> threads;
        struct Ended { // before the threads are waited for
            WorkInOrder& all;
            ~Ended() { all.end(); }
        };
        for (std::size_t count = window_.size() / 16; count > 0; --count) {
            threads.emplace_back([this, &makeWork] { workOn(makeWork()); });
        }
        Ended const ended{*this};
        while (std::optional<Result> result = take()) {
            use(*std::move(result));
        }
    }

  private:
    void workOn(const Work& work) {
        while (true) {
            std::unique_lock turn(turn_);
            if (!awaitRoom()) {
                return;
            }
            std::optional<Thing> thing = next_();
            if (!thing) {
                return end();
            }
            std::size_t const place = begin();
            turn.unlock();
            Result result = work(*std::move(thing));
            std::lock_guard const guard(lock_);
            window_[place] = std::move(result);
            done_.notify_one();
        }
    }

    bool awaitRoom() {
        std::unique_lock guard(lock_);
        room_.wait(guard, [&] { return isEnd_ || begun_ - used_ < window_.size(); });
        return !isEnd_;
    }

    std::size_t begin() {
        std::lock_guard const guard(lock_);
        return begun_++ % window_.size();
    }

    void end() {
        std::lock_guard const guard(lock_);
        isEnd_ = true;
        room_.notify_all();
        done_.notify_one();
    }

    std::optional<Result> take() {
        std::unique_lock guard(lock_);
        std::optional<Result>& slot = window_[used_ % window_.size()];
        done_.wait(guard, [&] { return slot || (isEnd_ && used_ == begun_); });
        if (!slot) {
            return {};
        }
        ++used_;
        room_.notify_one();
        return std::exchange(slot, {});
    }

    Next next_;
    std::mutex turn_; // of who asks for the next thing
    std::mutex lock_; // of all below
    std::condition_variable room_;
    std::condition_variable done_;
    std::vector<std::optional<Result>> window_;
    std::size_t begun_ = 0; // how many things so far
    std::size_t used_ = 0;
    bool isEnd_ = false;
};

} // namespace tools
