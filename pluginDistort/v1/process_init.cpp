#include "pluginDistort/v1/process_init.h"

#include <atomic>

#include "ImageLib/source/ARGBVal.h"
#include "ImageLib/source/LogHook.h"
#include "ImageLib/source/PixRect.h"
#include "ImageLib/source/PixRectWrap.h"
#include "ImageLib/source/RGBPixel.h"

namespace {

std::atomic<tumblewash::plugin::LogObserver> logObserver{nullptr};

}  // namespace

bool SISetup(_EffectData* ed) {
    if (!ed) return true;
    ed->firstFrame = nullptr;
    ed->lastFrame = nullptr;
    ed->flowField1 = nullptr;
    ed->flowField2 = nullptr;
    ed->refpic = nullptr;
    return true;
}

bool SICleanup(_EffectData* ed) {
    if (!ed) return true;
    delete ed->flowField1;
    delete ed->flowField2;
    delete ed->firstFrame;
    delete ed->lastFrame;
    delete ed->refpic;
    return true;
}

void logMessage(char* text) {
    if (const tumblewash::plugin::LogObserver observer = logObserver.load(std::memory_order_acquire))
        observer(text);
}

namespace tumblewash::plugin {

using imagelib::setLogSink;

LogObserver setLogObserver(LogObserver observer) {
    return logObserver.exchange(observer, std::memory_order_acq_rel);
}

bool logIsObserved() {
    return logObserver.load(std::memory_order_acquire) != nullptr;
}

void connectLibraryLog() {
    setLogSink([](const char* line) { ::logMessage(line); });
}

}  // namespace tumblewash::plugin
