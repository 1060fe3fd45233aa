#include "tests/adapters/OfxTestHost.h"

#include <dlfcn.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace tumblewash::test {

using namespace tumblewash;
using namespace tumblewash::ofx;

namespace {

OfxTestHost* active = nullptr;

PropertySet* setOf(OfxPropertySetHandle handle) {
    return reinterpret_cast<PropertySet*>(handle);
}

template <class T>
OfxStatus store(OfxPropertySetHandle handle, const char* name, int index, T value) {
    if (handle == nullptr || index < 0) return kErrBadHandle;
    auto& slot = setOf(handle)->values[name];
    if (!std::holds_alternative<std::vector<T>>(slot)) slot = std::vector<T>{};
    auto& list = std::get<std::vector<T>>(slot);
    if (static_cast<std::size_t>(index) >= list.size()) list.resize(static_cast<std::size_t>(index) + 1);
    list[static_cast<std::size_t>(index)] = std::move(value);
    return kOK;
}

template <class T>
T* find(OfxPropertySetHandle handle, const char* name, int index) {
    if (handle == nullptr) return nullptr;
    const auto found = setOf(handle)->values.find(name);
    if (found == setOf(handle)->values.end()) return nullptr;
    auto* list = std::get_if<std::vector<T>>(&found->second);
    if (list == nullptr || index < 0 || static_cast<std::size_t>(index) >= list->size()) return nullptr;
    return &(*list)[static_cast<std::size_t>(index)];
}

template <class T>
OfxStatus load(OfxPropertySetHandle handle, const char* name, int index, T* value) {
    const T* found = find<T>(handle, name, index);
    if (found == nullptr) return kErrUnknown;
    *value = *found;
    return kOK;
}

OfxStatus setString(OfxPropertySetHandle set, const char* name, int index, const char* value) {
    return store<std::string>(set, name, index, value);
}
OfxStatus getString(OfxPropertySetHandle set, const char* name, int index, char** value) {
    std::string* found = find<std::string>(set, name, index);
    if (found == nullptr) return kErrUnknown;
    *value = found->data();
    return kOK;
}
template <class T>
OfxStatus storeAll(OfxPropertySetHandle set, const char* name, int count, const T* values) {
    OfxStatus status = kOK;
    for (int i = 0; i < count && status == kOK; ++i) status = store<T>(set, name, i, values[i]);
    return status;
}
OfxStatus storePointers(OfxPropertySetHandle set, const char* name, int count, void* const* values) {
    return storeAll<void*>(set, name, count, values);
}
OfxStatus storeStrings(OfxPropertySetHandle set, const char* name, int count, const char* const* values) {
    OfxStatus status = kOK;
    for (int i = 0; i < count && status == kOK; ++i) status = setString(set, name, i, values[i]);
    return status;
}
template <class T>
OfxStatus loadAll(OfxPropertySetHandle set, const char* name, int count, T* values) {
    OfxStatus status = kOK;
    for (int i = 0; i < count && status == kOK; ++i) status = load<T>(set, name, i, values + i);
    return status;
}
OfxStatus loadStrings(OfxPropertySetHandle set, const char* name, int count, char** values) {
    OfxStatus status = kOK;
    for (int i = 0; i < count && status == kOK; ++i) status = getString(set, name, i, values + i);
    return status;
}
OfxStatus resetProperty(OfxPropertySetHandle set, const char* name) {
    return setOf(set)->values.erase(name) != 0 ? kOK : kErrUnknown;
}
OfxStatus dimension(OfxPropertySetHandle set, const char* name, int* count) {
    const auto found = setOf(set)->values.find(name);
    if (found == setOf(set)->values.end()) return kErrUnknown;
    *count = std::visit([](const auto& list) { return static_cast<int>(list.size()); }, found->second);
    return kOK;
}

const OfxPropertySuiteV1 propertySuite{
    store<void*>,     setString,     store<double>,   store<int>,   storePointers, storeStrings,
    storeAll<double>, storeAll<int>, load<void*>,     getString,    load<double>,  load<int>,
    loadAll<void*>,   loadStrings,   loadAll<double>, loadAll<int>, resetProperty, dimension};

}  // namespace

// The suites' functions, with the host that is active in them.
struct TestSuites {
    static OfxStatus effectProperties(OfxImageEffectHandle, OfxPropertySetHandle* set) {
        *set = active->effect.handle();
        return kOK;
    }
    static OfxStatus effectParameters(OfxImageEffectHandle handle, OfxParamSetHandle* set) {
        *set = reinterpret_cast<OfxParamSetHandle>(handle);
        return kOK;
    }
    static OfxStatus clipDefine(OfxImageEffectHandle, const char* name, OfxPropertySetHandle* set) {
        *set = active->clips[name].handle();
        return kOK;
    }
    static OfxStatus clipHandle(OfxImageEffectHandle, const char* name, OfxImageClipHandle* clip,
                                OfxPropertySetHandle* set) {
        const auto found = active->clips.find(name);
        if (found == active->clips.end()) return kErrUnknown;
        *clip = reinterpret_cast<OfxImageClipHandle>(const_cast<std::string*>(&found->first));
        if (set != nullptr) *set = found->second.handle();
        return kOK;
    }
    static OfxStatus clipProperties(OfxImageClipHandle clip, OfxPropertySetHandle* set) {
        *set = active->clips[*reinterpret_cast<std::string*>(clip)].handle();
        return kOK;
    }
    static OfxStatus clipImage(OfxImageClipHandle clip, OfxTime, const OfxRectD*, OfxPropertySetHandle* set) {
        if (active->failFetchAt > 0 && --active->failFetchAt == 0) return kFailed;
        TestImage* image = active->images_[*reinterpret_cast<std::string*>(clip)];
        if (image == nullptr) return kFailed;
        auto made = std::make_unique<PropertySet>();
        std::uint8_t* data = image->memory.data();
        if (image->rowBytes < 0)
            data += static_cast<std::ptrdiff_t>(-image->rowBytes) * (image->height() - 1);
        store<void*>(made->handle(), kPropImageData, 0, data);
        const int corners[] = {image->bounds.x1, image->bounds.y1, image->bounds.x2, image->bounds.y2};
        storeAll<int>(made->handle(), kPropImageBounds, 4, corners);
        store<int>(made->handle(), kPropImageRowBytes, 0, image->rowBytes);
        setString(made->handle(), kPropPixelDepth, 0, image->depth.c_str());
        setString(made->handle(), kPropComponents, 0, image->components.c_str());
        setString(made->handle(), kPropPreMultiplication, 0, image->alpha.c_str());
        *set = made->handle();
        active->lent_.push_back(std::move(made));
        ++active->imagesOut;
        return kOK;
    }
    static OfxStatus releaseImage(OfxPropertySetHandle set) {
        const auto gone = std::erase_if(active->lent_, [&](const auto& p) { return p->handle() == set; });
        active->imagesOut -= static_cast<int>(gone);
        return gone == 1 ? kOK : kErrBadHandle;
    }
    static OfxStatus region(OfxImageClipHandle clip, OfxTime, OfxRectD* rectangle) {
        const auto found = active->regions.find(*reinterpret_cast<std::string*>(clip));
        if (found == active->regions.end()) return kFailed;
        *rectangle = found->second;
        return kOK;
    }
    static int abortAsked(OfxImageEffectHandle) { return active->aborts; }
    static OfxStatus memoryAlloc(OfxImageEffectHandle, std::size_t, OfxImageMemoryHandle*) {
        return kErrMemory;
    }
    static OfxStatus memoryCall(OfxImageMemoryHandle) { return kErrBadHandle; }
    static OfxStatus memoryLock(OfxImageMemoryHandle, void**) { return kErrBadHandle; }

    static OfxStatus paramDefine(OfxParamSetHandle, const char* type, const char* name,
                                 OfxPropertySetHandle* set) {
        Parameter& made = active->parameters[name];
        made.type = type;
        *set = made.properties.handle();
        return kOK;
    }
    static OfxStatus paramHandle(OfxParamSetHandle, const char* name, OfxParamHandle* parameter,
                                 OfxPropertySetHandle* set) {
        const auto found = active->parameters.find(name);
        if (found == active->parameters.end()) return kErrUnknown;
        *parameter = reinterpret_cast<OfxParamHandle>(&found->second);
        if (set != nullptr) *set = found->second.properties.handle();
        return kOK;
    }
    static OfxStatus answer(const Parameter& parameter, va_list arguments) {
        if (parameter.type == kParamTypeDouble)
            *va_arg(arguments, double*) = parameter.number;
        else
            *va_arg(arguments, int*) = static_cast<int>(parameter.number);
        return kOK;
    }
    static OfxStatus paramValue(OfxParamHandle parameter, ...) {
        va_list arguments;
        va_start(arguments, parameter);
        const OfxStatus status = answer(*reinterpret_cast<Parameter*>(parameter), arguments);
        va_end(arguments);
        return status;
    }
    static OfxStatus paramValueAtTime(OfxParamHandle parameter, OfxTime time, ...) {
        va_list arguments;
        va_start(arguments, time);
        const OfxStatus status = answer(*reinterpret_cast<Parameter*>(parameter), arguments);
        va_end(arguments);
        return status;
    }
    static OfxStatus message(void*, const char*, const char*, const char* format, ...) {
        char text[512];
        va_list arguments;
        va_start(arguments, format);
        std::vsnprintf(text, sizeof text, format, arguments);
        va_end(arguments);
        active->messages.emplace_back(text);
        return kOK;
    }

    static const void* fetch(OfxPropertySetHandle, const char* name, int version) {
        static const OfxImageEffectSuiteV1 effectSuite{
            effectProperties, effectParameters, clipDefine, clipHandle, clipProperties,
            clipImage,        releaseImage,     region,     abortAsked, memoryAlloc,
            memoryCall,       memoryLock,       memoryCall};
        static const OfxParameterSuiteV1 parameterSuite = [] {
            OfxParameterSuiteV1 suite{};
            suite.paramDefine = paramDefine;
            suite.paramGetHandle = paramHandle;
            suite.paramGetValue = paramValue;
            suite.paramGetValueAtTime = paramValueAtTime;
            return suite;
        }();
        static const OfxMessageSuiteV1 messageSuite{message};
        if (active == nullptr || version != 1) return nullptr;
        const std::string wanted = name;
        if (wanted == kPropertySuite && active->choice_.property) return &propertySuite;
        if (wanted == kImageEffectSuite && active->choice_.effect) return &effectSuite;
        if (wanted == kParameterSuite && active->choice_.parameter) return &parameterSuite;
        if (wanted == kMessageSuite && active->choice_.message) return &messageSuite;
        return nullptr;
    }
};

std::string PropertySet::string(const std::string& name, std::size_t index) const {
    const auto all = strings(name);
    return index < all.size() ? all[index] : std::string{};
}
std::vector<std::string> PropertySet::strings(const std::string& name) const {
    const auto found = values.find(name);
    if (found == values.end() || !std::holds_alternative<std::vector<std::string>>(found->second)) return {};
    return std::get<std::vector<std::string>>(found->second);
}
double PropertySet::number(const std::string& name) const {
    return std::get<std::vector<double>>(values.at(name)).at(0);
}
int PropertySet::integer(const std::string& name) const {
    return std::get<std::vector<int>>(values.at(name)).at(0);
}

int TestImage::pixelBytes() const {
    return depth == kDepthByte ? 4 : depth == kDepthShort ? 8 : 16;
}

TestImage TestImage::make(int width, int height, const std::string& depth, bool topDown, int gap,
                          std::uint8_t fill) {
    TestImage image;
    image.depth = depth;
    image.bounds = {0, 0, width, height};
    const int row = width * image.pixelBytes() + gap;
    image.rowBytes = topDown ? -row : row;
    image.memory.assign(static_cast<std::size_t>(row) * static_cast<std::size_t>(height), fill);
    return image;
}

std::uint8_t* TestImage::fromTop(int x, int y) {
    const int line = rowBytes < 0 ? y : height() - 1 - y;
    return memory.data() + static_cast<std::ptrdiff_t>(line) * std::abs(rowBytes) + x * pixelBytes();
}

OfxTestHost::OfxTestHost(const std::string& bundleBinary, SuiteChoice suites) : choice_(suites) {
    library_ = dlopen(bundleBinary.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library_ == nullptr) throw std::runtime_error(dlerror());
    host_.host = hostProperties_.handle();
    host_.fetchSuite = TestSuites::fetch;
    active = this;
}

OfxTestHost::~OfxTestHost() {
    active = nullptr;
    dlclose(library_);
}

int OfxTestHost::pluginCount() const {
    return reinterpret_cast<int (*)()>(dlsym(library_, "OfxGetNumberOfPlugins"))();
}

OfxPlugin* OfxTestHost::plugin(int index) const {
    return reinterpret_cast<OfxPlugin* (*)(int)>(dlsym(library_, "OfxGetPlugin"))(index);
}

OfxStatus OfxTestHost::act(int index, const char* action, PropertySet* in, PropertySet* out) {
    return plugin(index)->mainEntry(action, &effect, in != nullptr ? in->handle() : nullptr,
                                    out != nullptr ? out->handle() : nullptr);
}

void OfxTestHost::bringUp(int index, const std::string& context) {
    const auto expect = [](OfxStatus status, const char* what) {
        if (status != kOK && status != kReplyDefault) throw std::runtime_error(std::string(what) + " failed");
    };
    effect = {};
    clips.clear();
    parameters.clear();
    context_ = context;
    plugin(index)->setHost(&host_);
    expect(act(index, kActionLoad), "load");
    expect(act(index, kActionDescribe), "describe");
    PropertySet in;
    setString(in.handle(), kPropContext, 0, context.c_str());
    expect(act(index, kActionDescribeInContext, &in), "describe in context");
    for (auto& [name, parameter] : parameters)
        if (parameter.type != kParamTypePage && parameter.properties.has(kParamDefault))
            parameter.number = parameter.type == kParamTypeDouble
                                   ? parameter.properties.number(kParamDefault)
                                   : parameter.properties.integer(kParamDefault);
    setString(effect.handle(), kPropContext, 0, context.c_str());
    expect(act(index, kActionCreateInstance), "create instance");
}

void OfxTestHost::takeDown(int index) {
    act(index, kActionDestroyInstance);
    act(index, kActionUnload);
}

OfxStatus OfxTestHost::render(int index, double position, TestImage* from, TestImage* to, TestImage& output,
                              const OfxRectI* window) {
    images_ = {{kClipSource, from}, {kClipFrom, from}, {kClipTo, to}, {kClipOutput, &output}};
    parameters[context_ == kContextTransition ? kParamTransition : "mix"].number = position;
    PropertySet in;
    store<double>(in.handle(), kPropTime, 0, 0.0);
    const OfxRectI& part = window != nullptr ? *window : output.bounds;
    const int corners[] = {part.x1, part.y1, part.x2, part.y2};
    storeAll<int>(in.handle(), kPropRenderWindow, 4, corners);
    return act(index, kActionRender, &in);
}

OfxStatus OfxTestHost::identity(int index, double position, std::string& clip) {
    parameters[context_ == kContextTransition ? kParamTransition : "mix"].number = position;
    PropertySet in, out;
    store<double>(in.handle(), kPropTime, 0, 7.0);
    const OfxStatus status = act(index, kActionIsIdentity, &in, &out);
    clip = out.string(kPropName);
    return status;
}

}  // namespace tumblewash::test
