// The host's suites as this bundle holds them: fetched at load, read by every action. Small wrappers turn
// statuses into exceptions that the entry maps back. Not the declarations themselves (OfxAbi.h).
#pragma once

#include <array>
#include <string>

#include "adapters/openfx/OfxAbi.h"

namespace tumblewash::ofx {

/// What an action throws to end with a status.
struct StatusError {
    OfxStatus status;
};

/// The suites of one plug-in's host. `message` may be null; the others are present once loaded.
struct Suites {
    const OfxPropertySuiteV1* property = nullptr;
    const OfxImageEffectSuiteV1* effect = nullptr;
    const OfxParameterSuiteV1* parameter = nullptr;
    const OfxMessageSuiteV1* message = nullptr;

    /// Fetches everything; throws kErrMissingHostFeature when a needed suite is missing.
    static Suites fetch(const OfxHost* host);
    [[nodiscard]] bool complete() const noexcept {
        return property != nullptr && effect != nullptr && parameter != nullptr;
    }
};

/// A property set with its suite. Setters ignore names that a host does not know: descriptions are offers.
class Properties {
  public:
    /// Throws kErrBadHandle when `set` is null.
    Properties(const Suites& suites, OfxPropertySetHandle set);

    void setString(const char* name, const std::string& value, int index = 0) const;
    void setInt(const char* name, int value, int index = 0) const;
    void setDouble(const char* name, double value, int index = 0) const;
    void setPointer(const char* name, void* value) const;

    /// The value, or the fallback when the host has none.
    [[nodiscard]] std::string string(const char* name, const std::string& fallback = {}) const;
    [[nodiscard]] double number(const char* name, double fallback) const;
    [[nodiscard]] int integer(const char* name, int fallback) const;
    [[nodiscard]] void* pointer(const char* name) const;
    /// Throws kErrBadHandle when the host has no such rectangle.
    [[nodiscard]] OfxRectI rectangle(const char* name) const;

  private:
    const OfxPropertySuiteV1& suite_;
    OfxPropertySetHandle set_;
};

}  // namespace tumblewash::ofx
