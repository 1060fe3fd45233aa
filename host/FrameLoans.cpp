#include "host/FrameLoans.h"

#include <algorithm>
#include <utility>

#include "host/HostError.h"

namespace tumblewash::host {

namespace {

void checkPicture(const FrameRequest& asked, const Picture& given) {
    if (given.pixels == nullptr) {
        throw HostError("frame " + std::to_string(asked.index) + " came without pixels",
                        kPluginCantGetNeededFrame);
    }
    if (given.width != asked.width || given.height != asked.height) {
        throw HostError("frame " + std::to_string(asked.index) + " is " + std::to_string(given.width) +
                            " x " + std::to_string(given.height) + " pixels; " + std::to_string(asked.width) +
                            " x " + std::to_string(asked.height) + " are needed",
                        kPluginCantGetNeededFrame);
    }
}

}  // namespace

Loan& FrameLoans::lend(const FrameRequest& request) {
    loans_.reserve(loans_.size() + 1);  // from here on a borrowed frame always finds its place in the list
    auto loan = std::make_unique<Loan>();
    loan->request = request;
    loan->frame = source_.lend(request);
    try {
        checkPicture(request, loan->frame.picture);
        std::vector<std::uint8_t> buffer;
        if (!spareBuffers_.empty()) {
            buffer = std::move(spareBuffers_.back());
            spareBuffers_.pop_back();
        }
        loan->world.emplace(loan->frame.picture,
                            WorldNeeds{.writable = loan->frame.writable, .exactStride = true},
                            std::move(buffer));
        const int available = std::clamp(loan->frame.sampleCount, 0, std::max(request.sampleCount, 0));
        if (loan->frame.samples != nullptr) {
            loan->samples.assign(loan->frame.samples,
                                 loan->frame.samples + static_cast<std::ptrdiff_t>(available) * channels_);
        }
    } catch (...) {
        source_.giveBack(loan->frame);
        throw;
    }
    loans_.push_back(std::move(loan));
    return *loans_.back();
}

Loan* FrameLoans::find(const void* cookie) noexcept {
    for (const auto& loan : loans_) {
        if (loan.get() == cookie && loan->out) return loan.get();
    }
    return nullptr;
}

void FrameLoans::release(Loan& loan) noexcept {
    loan.out = false;
    source_.giveBack(loan.frame);
}

int FrameLoans::endRequest() noexcept {
    int stillOut = 0;
    for (const auto& loan : loans_) {
        if (!loan->out) continue;
        ++stillOut;
        release(*loan);
    }
    for (const auto& loan : loans_) {
        if (!loan->world->copied()) continue;
        try {
            spareBuffers_.push_back(loan->world->takeBuffer());
        } catch (...) {
            break;  // a spare buffer is a convenience
        }
    }
    loans_.clear();
    return stillOut;
}

}  // namespace tumblewash::host
