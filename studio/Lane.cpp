#include "studio/Lane.h"

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

namespace tumblewash::studio {
namespace {

/// A page asks for a few things at a time; more than this is a flood.
constexpr std::size_t kMostWaiting = 512;

}  // namespace

Lane::Lane(int nice, Lane* before) : thread_([this, nice, before] { work(nice, before); }) {}

Lane::~Lane() {
    {
        const std::scoped_lock hold(lock_);
        ends_ = true;
    }
    changed_.notify_all();
    thread_.join();
    for (Item& item : items_) item.work(false);
}

void Lane::post(Work work) {
    {
        const std::scoped_lock hold(lock_);
        if (!ends_ && items_.size() < kMostWaiting) {
            items_.push_back({{}, std::move(work)});
            changed_.notify_all();
            return;
        }
    }
    work(false);
}

void Lane::postNewest(const std::string& owner, Work work) {
    std::vector<Work> dropped;
    {
        const std::scoped_lock hold(lock_);
        for (Item& item : items_)
            if (item.owner == owner) dropped.push_back(std::move(item.work));
        std::erase_if(items_, [&](const Item& item) { return item.owner == owner; });
        if (ends_ || items_.size() >= kMostWaiting)
            dropped.push_back(std::move(work));
        else
            items_.push_front({owner, std::move(work)});
        changed_.notify_all();
    }
    for (Work& each : dropped) each(false);
}

void Lane::waitUntilIdle() {
    std::unique_lock hold(lock_);
    changed_.wait(hold, [&] { return ends_ || (items_.empty() && !working_); });
}

void Lane::work(int nice, Lane* before) {
    if (nice > 0) setpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)), nice);
    for (;;) {
        {
            std::unique_lock hold(lock_);
            changed_.wait(hold, [&] { return ends_ || !items_.empty(); });
        }
        if (before) before->waitUntilIdle();
        Item item;
        {
            const std::scoped_lock hold(lock_);
            if (ends_) return;
            item = std::move(items_.front());
            items_.pop_front();
            working_ = true;
        }
        item.work(true);
        item = {};
        {
            const std::scoped_lock hold(lock_);
            working_ = false;
        }
        changed_.notify_all();
    }
}

}  // namespace tumblewash::studio
