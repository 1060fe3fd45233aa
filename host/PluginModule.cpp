#include "host/PluginModule.h"

#include <dlfcn.h>
#include <link.h>

#include <cstring>
#include <new>
#include <system_error>
#include <utility>

#include "host/HostError.h"

namespace tumblewash::host {

namespace {

constexpr const char* kEntrySymbol = "main";

std::string loaderMessage(const std::string& file) {
    const char* text = dlerror();
    std::string message = text != nullptr ? text : "no reason given";
    const std::string prefix = file + ": ";
    if (message.starts_with(prefix)) message.erase(0, prefix.size());
    return message;
}

/// A search through a handle also looks into what the module depends on; only the module's own symbol counts.
bool definedIn(void* library, void* symbol) {
    link_map* map = nullptr;
    Dl_info where{};
    void* owner = nullptr;
    if (dlinfo(library, RTLD_DI_LINKMAP, static_cast<void*>(&map)) != 0) return false;
    if (dladdr1(symbol, &where, &owner, RTLD_DL_LINKMAP) == 0) return false;
    return owner == map;
}

PluginEntry findEntry(void* library) {
    void* symbol = dlsym(library, kEntrySymbol);
    if (symbol == nullptr || !definedIn(library, symbol)) return nullptr;
    PluginEntry entry = nullptr;
    static_assert(sizeof entry == sizeof symbol);
    std::memcpy(&entry, &symbol, sizeof entry);
    return entry;
}

}  // namespace

PluginModule::PluginModule(PluginEntry entry, std::string name) : entry_(entry), name_(std::move(name)) {
    if (entry_ == nullptr) throw HostError(name_ + ": has no entry function");
}

PluginModule::PluginModule(std::shared_ptr<void> library, PluginEntry entry, std::string name)
    : library_(std::move(library)), entry_(entry), name_(std::move(name)) {}

PluginModule PluginModule::load(const std::filesystem::path& file) {
    const std::string name = file.string();
    std::error_code error;
    const auto status = std::filesystem::status(file, error);
    if (!std::filesystem::exists(status)) throw HostError(name + ": no such plug-in; check the path");
    if (std::filesystem::is_directory(status))
        throw HostError(name + ": is a folder; give the plug-in's file");

    // Made absolute: a bare name would be searched for in the system's library folders.
    const std::string path = std::filesystem::absolute(file).string();
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) throw HostError(name + ": cannot be loaded as a plug-in: " + loaderMessage(path));
    std::shared_ptr<void> library(handle, [](void* loaded) { dlclose(loaded); });

    const PluginEntry entry = findEntry(handle);
    if (entry == nullptr) {
        throw HostError(name + ": is not a plug-in: it exports no function named " + kEntrySymbol);
    }
    return PluginModule(std::move(library), entry, name);
}

HYPluginResult PluginModule::call(int effect, HYPluginParams& params) const noexcept {
    try {
        return static_cast<HYPluginResult>(entry_(static_cast<short>(effect), &params) & 0xFF);
    } catch (const std::bad_alloc&) {
        return kPluginOutOfMemory;
    } catch (...) {
        return kPluginFailed;
    }
}

}  // namespace tumblewash::host
