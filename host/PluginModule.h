// A plug-in that a host can call: an entry function of this program, or one loaded from a file at run time.
// Copies share one loaded file, which is closed with the last of them. Calling is safe from several threads
// as far as the plug-in itself is. It is not a catalogue of what the plug-in offers: see Catalogue.h.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "hostapi/HYPlugin.h"

namespace tumblewash::host {

/// The entry function: effect index and parameter block in, a result code in the low eight bits out.
using PluginEntry = int (*)(short which, HYPluginParams* params);

/// A counted reference to a plug-in's entry function.
class PluginModule {
  public:
    /// An entry that lives in this program for good. Throws HostError when `entry` is null.
    /// `name` stands in messages.
    explicit PluginModule(PluginEntry entry, std::string name = "built-in plug-in");

    /// Loads a module and finds its exported `main`. Throws HostError ("FILE: what is wrong") when the file
    /// is missing, is no loadable module, or exports no `main` of its own.
    [[nodiscard]] static PluginModule load(const std::filesystem::path& file);

    /// Calls the entry. The low eight bits of its answer come back; an exception that a foreign plug-in lets
    /// out becomes kPluginOutOfMemory (allocation) or kPluginFailed.
    HYPluginResult call(int effect, HYPluginParams& params) const noexcept;

    /// The name for messages: the file's path, or what the constructor was given.
    [[nodiscard]] const std::string& name() const noexcept { return name_; }

  private:
    PluginModule(std::shared_ptr<void> library, PluginEntry entry, std::string name);

    std::shared_ptr<void> library_;  // null for an entry of this program
    PluginEntry entry_;
    std::string name_;
};

}  // namespace tumblewash::host
