#include "studio/Job.h"

#include <chrono>
#include <deque>
#include <exception>
#include <nlohmann/json.hpp>
#include <utility>

#include "edit/Render.h"
#include "edit/Report.h"
#include "edit/Request.h"

namespace tumblewash::studio {

using Clock = std::chrono::steady_clock;

namespace {

double secondsBetween(Clock::time_point from, Clock::time_point to) {
    return std::chrono::duration<double>(to - from).count();
}

/// Frames a second over the last five seconds.
class Speed {
  public:
    double at(Clock::time_point now, std::int64_t frames) {
        marks_.push_back({now, frames});
        while (marks_.size() > 2 && secondsBetween(marks_.front().first, now) > 5) marks_.pop_front();
        const double passed = secondsBetween(marks_.front().first, now);
        return passed > 0 ? static_cast<double>(frames - marks_.front().second) / passed : 0;
    }

  private:
    std::deque<std::pair<Clock::time_point, std::int64_t>> marks_;
};

}  // namespace

Job::~Job() {
    cancel_ = true;
    if (thread_.joinable()) thread_.join();
}

bool Job::running() const {
    const std::scoped_lock hold(lock_);
    return facts_.state == "checking" || facts_.state == "running" || facts_.state == "finishing" ||
           facts_.state == "cancelling";
}

void Job::set(const std::function<void(Facts&)>& change) {
    {
        const std::scoped_lock hold(lock_);
        change(facts_);
    }
    told_();
}

bool Job::start(const edit::Edit& edit, const std::string& output, bool force, bool copy,
                const std::string& reads) {
    if (running()) return false;
    if (thread_.joinable()) thread_.join();
    cancel_ = false;
    set([&](Facts& facts) {
        const std::uint64_t id = facts.id + 1;
        facts = Facts();
        facts.id = id;
        facts.state = "checking";
        facts.output = output;
    });
    thread_ = std::thread([=, this] { run(edit, force, copy, reads); });
    return true;
}

bool Job::cancel(std::uint64_t id) {
    if (!running()) return false;
    {
        const std::scoped_lock hold(lock_);
        if (facts_.id != id) return false;
        facts_.state = "cancelling";
    }
    cancel_ = true;
    told_();
    return true;
}

std::string Job::outputOf(std::uint64_t id) const {
    const std::scoped_lock hold(lock_);
    const auto found = finished_.find(id);
    return found == finished_.end() ? std::string() : found->second;
}

void Job::run(edit::Edit edit, bool force, bool copy, std::string reads) {
    const Clock::time_point start = Clock::now();
    const auto alive = [](const Facts& facts) { return facts.state != "cancelling"; };
    try {
        edit::RenderSettings settings;
        {
            const std::scoped_lock hold(lock_);
            settings.output = facts_.output;
        }
        settings.force = force;
        if (!copy)
            settings.copyBodies = edit::CopyBodies::never;
        else if (edit.output.copyBodies == edit::CopyBodies::never)
            settings.copyBodies = edit::CopyBodies::automatic;
        settings.reads = {std::move(reads)};
        settings.cancel = &cancel_;
        edit::MovieRequest request = prepareMovie(edit, settings);
        edit::Report report = beginReport(edit, settings, request);
        set([&](Facts& facts) {
            facts.total = report.frames;
            facts.warnings = request.notes;
            facts.warnings.insert(facts.warnings.end(), request.remarks.begin(), request.remarks.end());
            if (alive(facts)) facts.state = "running";
        });
        Speed speed;
        Clock::time_point said = Clock::now();
        speed.at(said, 0);
        renderMovie(settings, request, report, {.advance = [&](std::int64_t done) {
                        const Clock::time_point now = Clock::now();
                        if (secondsBetween(said, now) < 0.25 && done < report.frames) return;
                        said = now;
                        set([&](Facts& facts) {
                            facts.frames = done;
                            facts.fps = speed.at(now, done);
                            const auto left = static_cast<double>(report.frames - done);
                            facts.left = facts.fps > 0 ? left / facts.fps : -1;
                            if (done == report.frames && alive(facts)) facts.state = "finishing";
                        });
                    }});
        set([&](Facts& facts) {
            std::erase_if(finished_, [&](const auto& movie) { return movie.second == facts.output; });
            finished_[facts.id] = facts.output;
            facts.state = "done";
            facts.frames = facts.total;
            facts.left = 0;
            facts.seconds = secondsBetween(start, Clock::now());
            facts.warnings = edit::lossesOf(report);
            facts.warnings.insert(facts.warnings.end(), report.remarks.begin(), report.remarks.end());
        });
    } catch (const std::exception& problem) {
        set([&](Facts& facts) {
            facts.state = cancel_ ? "cancelled" : "failed";
            facts.error = cancel_ ? "" : problem.what();
        });
    }
}

nlohmann::ordered_json Job::json() const {
    const std::scoped_lock hold(lock_);
    return {{"id", facts_.id},         {"state", facts_.state},     {"output", facts_.output},
            {"frames", facts_.frames}, {"total", facts_.total},     {"fps", facts_.fps},
            {"left", facts_.left},     {"seconds", facts_.seconds}, {"warnings", facts_.warnings},
            {"error", facts_.error}};
}

}  // namespace tumblewash::studio
