// The same job for many things, in several threads.
#pragma once

#include <algorithm>
#include <atomic>
#include <exception>
#include <functional>
#include <thread>
#include <vector>

#include "edit/Errors.h"
#include "media/MediaError.h"

namespace tumblewash::edit {

/// Runs `job(i)` for i in 0..count on several threads, this one among them. The failure of the lowest number
/// is thrown here, once all have ended; a raised cancel flag is a failure (Interrupted).
inline void inParallel(int count, int threads, media::CancelFlag cancel,
                       const std::function<void(int)>& job) {
    std::atomic<int> next{0};
    std::vector<std::exception_ptr> failures(static_cast<std::size_t>(count));
    const auto work = [&] {
        for (int i = next++; i < count; i = next++) {
            try {
                if (cancel && cancel->load()) throw Refusal(Problem::Interrupted, "interrupted");
                job(i);
            } catch (...) {
                failures[static_cast<std::size_t>(i)] = std::current_exception();
            }
        }
    };
    std::vector<std::jthread> pool;
    try {
        for (int t = 1; t < std::min(threads, count); ++t) pool.emplace_back(work);
    } catch (...) {
        next = count;  // those that did start end after the job in hand
        throw;
    }
    work();
    pool.clear();
    for (const std::exception_ptr& failure : failures)
        if (failure) std::rethrow_exception(failure);
}

}  // namespace tumblewash::edit
