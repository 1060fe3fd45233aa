#include "edit/Transition.h"

#include <fmt/format.h>

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "edit/DeepFrames.h"
#include "edit/Errors.h"
#include "edit/PictureSource.h"

namespace tumblewash::edit {

using host::FramePlace;
using host::FrameResult;
using host::locateFrame;
using host::PluginModule;
using host::Session;
using host::SessionSettings;
using media::inLayout;
using media::PictureRef;
using media::PixelLayout;
using media::reachesBeyondWhite;

namespace {

struct Task {
    std::int64_t frame = 0;
    PictureRef a;
    PictureRef b;
    bool deep = false;  ///< shown over deep pixels, whatever the session made of it
};

Refusal interruptedWhileRendering() {
    return Refusal(Problem::Interrupted, "interrupted while rendering");
}

}  // namespace

SessionSettings sessionSettings(const TransitionJob& job) {
    SessionSettings s;
    s.effect = job.effect.index;
    s.width = job.deep() ? host::kMinPictureSide : job.size.width;
    s.height = job.deep() ? host::kMinPictureSide : job.size.height;
    s.startFrame = static_cast<std::int32_t>(job.firstA);
    s.frameCount = static_cast<std::int32_t>(job.frames);
    s.proxy = job.proxy;
    s.direction = job.direction;
    s.speed = job.speed;
    s.seed = job.seed;
    s.sourceFrames = {static_cast<std::int32_t>(job.framesA), static_cast<std::int32_t>(job.framesB)};
    return s;
}

struct ParallelRenderer::Impl {
    Impl() = default;
    // Whatever ends its owner, a thread that does not start among them, ends the threads first.
    ~Impl() { join(); }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    struct Worker {
        std::unique_ptr<PictureSource> source;
        std::unique_ptr<Session> session;
        bool keyed = false;
        std::thread thread;
    };

    TransitionJob job;
    const std::atomic<bool>* cancel = nullptr;
    bool morph = false;
    std::vector<Worker> workers;
    Task first;  // a morph's first frame, which fixes the key pictures of every session

    std::mutex lock;
    std::condition_variable changed;
    std::deque<Task> tasks;
    std::map<std::int64_t, TransitionFrame> done;
    std::exception_ptr failure;
    std::int64_t submitted = 0;
    std::int64_t taken = 0;
    bool closing = false;
    bool deepNow = false;  ///< of what is submitted
    bool inCaller = false;

    bool leavesTheRange(const PictureRef& picture) const {
        return !morph && job.ownEffects && reachesBeyondWhite(picture);
    }

    FramePlace placeA(std::int64_t frame) const {
        const SessionSettings s = sessionSettings(job);
        const auto place =
            locateFrame(s, job.effect.info.layout, s.startFrame + static_cast<std::int32_t>(frame));
        return place.value_or(FramePlace{0, static_cast<std::int32_t>(job.firstA + frame)});
    }

    FrameResult renderTask(Worker& worker, Task task, PictureRef& out) {
        const FramePlace a = placeA(task.frame);
        const FramePlace b{1, static_cast<std::int32_t>(task.frame)};
        const bool two = static_cast<bool>(task.b);
        worker.source->put(a, std::move(task.a));
        if (two) worker.source->put(b, std::move(task.b));
        const SessionSettings& settings = worker.session->settings();
        out = PictureRef::makeArgb(settings.width, settings.height);
        FrameResult result =
            worker.session->renderFrame(static_cast<std::int32_t>(task.frame),
                                        {out.data(), out.stride(), settings.width, settings.height});
        worker.source->drop(a);
        if (two) worker.source->drop(b);
        if (!result.ok())
            throw Refusal(Problem::RenderFailed,
                          fmt::format("{}: frame {} of {} cannot be rendered: {}", job.effect.id, task.frame,
                                      job.frames, result.problem));
        return result;
    }

    /// What the session says about a frame that is rendered over deep pixels.
    Task standIn(const Task& task) const { return {task.frame, blank, task.b ? blank : PictureRef(), true}; }

    /// The motion of a morph is found once, by whoever comes first.
    const DeepFrames& deepFrames() {
        std::call_once(deepMade, [this] { deep.emplace(job, first.a, key); });
        return *deep;
    }

    TransitionFrame render(Worker& worker, Task task) {
        if (!task.deep) return renderBytes(worker, std::move(task));
        TransitionFrame frame = renderBytes(worker, job.deep() ? standIn(task) : task);
        frame.picture = deepFrames().render(task.frame, std::move(task.a), std::move(task.b));
        return frame;
    }

    TransitionFrame renderBytes(Worker& worker, Task task) {
        PictureRef picture;
        if (morph && !worker.keyed && task.frame != 0) {
            renderTask(worker, job.deep() ? standIn(first) : first, picture);
            restoreKey(worker);
        }
        worker.keyed = true;
        const bool deep = task.deep;
        FrameResult result = renderTask(worker, std::move(task), picture);
        if (morph) restoreKey(worker);
        TransitionFrame frame;
        frame.asked = result.asked;
        frame.warning = result.warning;
        if (!deep) frame.picture = inLayout(picture, job.layout, job.matrix, job.fields);
        return frame;
    }

    // The last frame's place is also a frame's own: dropping that one must not lose the key.
    void restoreKey(Worker& worker) { worker.source->put(placeA(job.frames - 1), job.deep() ? blank : key); }
    PictureRef key;

    PictureRef blank;  ///< what a session is lent whose pictures nobody sees
    std::once_flag deepMade;
    std::optional<DeepFrames> deep;

    void work(Worker& worker) {
        for (;;) {
            Task task;
            {
                std::unique_lock hold(lock);
                changed.wait(hold, [&] { return closing || failure || !tasks.empty(); });
                if (closing || failure) return;
                task = std::move(tasks.front());
                tasks.pop_front();
            }
            const std::int64_t number = task.frame;
            try {
                if (cancelled()) throw interruptedWhileRendering();
                TransitionFrame frame = render(worker, std::move(task));
                const std::scoped_lock hold(lock);
                done.emplace(number, std::move(frame));
            } catch (...) {
                return stop(std::current_exception());
            }
            changed.notify_all();
        }
    }

    bool cancelled() const { return cancel != nullptr && cancel->load(); }

    void stop(const std::exception_ptr& problem) {
        {
            const std::scoped_lock hold(lock);
            if (!failure) failure = problem;
        }
        changed.notify_all();
    }

    void join() {
        {
            const std::scoped_lock hold(lock);
            closing = true;
        }
        changed.notify_all();
        for (Worker& worker : workers)
            if (worker.thread.joinable()) worker.thread.join();
    }
};

ParallelRenderer::ParallelRenderer(const PluginModule& module, const TransitionJob& job, int sessions,
                                   PictureRef key, const std::atomic<bool>* cancel)
    : impl_(std::make_unique<Impl>()) {
    impl_->job = job;
    impl_->cancel = cancel;
    impl_->morph = placementOf(job.effect) == Placement::Halves;
    impl_->key = std::move(key);
    impl_->deepNow = job.deep();
    if (job.deep()) {
        impl_->blank = PictureRef::makeArgb(host::kMinPictureSide, host::kMinPictureSide);
        std::memset(impl_->blank.data(), 0,
                    static_cast<std::size_t>(impl_->blank.stride()) * host::kMinPictureSide);
    }
    impl_->workers.resize(static_cast<std::size_t>(std::max(1, sessions)));
    for (Impl::Worker& worker : impl_->workers) {
        worker.source = std::make_unique<PictureSource>();
        if (impl_->morph) impl_->restoreKey(worker);
        worker.session = std::make_unique<Session>(module, sessionSettings(job), *worker.source);
        worker.session->open();
    }
    impl_->inCaller = sessions < 1;
    if (impl_->inCaller) return;
    for (Impl::Worker& worker : impl_->workers)
        worker.thread = std::thread([impl = impl_.get(), &worker] { impl->work(worker); });
}

ParallelRenderer::~ParallelRenderer() = default;

std::size_t ParallelRenderer::window() const noexcept {
    if (impl_->inCaller) return 1;
    const TransitionJob& job = impl_->job;
    const std::size_t workers = impl_->workers.size();
    const bool large = media::isLargeDeep(media::isDeep(job.layout), job.size.width, job.size.height);
    return large ? workers : workers + 1;
}

void ParallelRenderer::submit(PictureRef a, PictureRef b) {
    {
        const std::scoped_lock hold(impl_->lock);
        // Once deep, always deep: one change of path at most, where the bright area comes.
        impl_->deepNow = impl_->deepNow || impl_->leavesTheRange(a) || impl_->leavesTheRange(b);
        Task task{impl_->submitted++, std::move(a), std::move(b), impl_->deepNow};
        if (impl_->morph && task.frame == 0) impl_->first = task;
        impl_->tasks.push_back(std::move(task));
    }
    impl_->changed.notify_all();
}

TransitionFrame ParallelRenderer::take() {
    if (impl_->inCaller) {
        if (impl_->cancelled()) throw interruptedWhileRendering();
        Task task = std::move(impl_->tasks.front());
        impl_->tasks.pop_front();
        return impl_->render(impl_->workers.front(), std::move(task));
    }
    std::unique_lock hold(impl_->lock);
    const std::int64_t number = impl_->taken++;
    impl_->changed.wait(hold, [&] { return impl_->failure || impl_->done.contains(number); });
    const auto found = impl_->done.find(number);
    if (found == impl_->done.end()) std::rethrow_exception(impl_->failure);
    TransitionFrame frame = std::move(found->second);
    impl_->done.erase(found);
    return frame;
}

HYPluginClipInfo ParallelRenderer::finish() {
    impl_->join();
    for (Impl::Worker& worker : impl_->workers) worker.session->close();
    return impl_->workers.front().session->clipInfo();
}

}  // namespace tumblewash::edit
