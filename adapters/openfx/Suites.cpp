#include "adapters/openfx/Suites.h"

namespace tumblewash::ofx {

Suites Suites::fetch(const OfxHost* host) {
    if (host == nullptr || host->fetchSuite == nullptr) throw StatusError{kErrMissingHostFeature};
    Suites suites;
    suites.property = static_cast<const OfxPropertySuiteV1*>(host->fetchSuite(host->host, kPropertySuite, 1));
    suites.effect =
        static_cast<const OfxImageEffectSuiteV1*>(host->fetchSuite(host->host, kImageEffectSuite, 1));
    suites.parameter =
        static_cast<const OfxParameterSuiteV1*>(host->fetchSuite(host->host, kParameterSuite, 1));
    suites.message = static_cast<const OfxMessageSuiteV1*>(host->fetchSuite(host->host, kMessageSuite, 1));
    if (!suites.complete()) throw StatusError{kErrMissingHostFeature};
    return suites;
}

namespace {

OfxPropertySetHandle present(OfxPropertySetHandle set) {
    if (set == nullptr) throw StatusError{kErrBadHandle};
    return set;
}

}  // namespace

Properties::Properties(const Suites& suites, OfxPropertySetHandle set)
    : suite_(*suites.property), set_(present(set)) {}

void Properties::setString(const char* name, const std::string& value, int index) const {
    suite_.propSetString(set_, name, index, value.c_str());
}
void Properties::setInt(const char* name, int value, int index) const {
    suite_.propSetInt(set_, name, index, value);
}
void Properties::setDouble(const char* name, double value, int index) const {
    suite_.propSetDouble(set_, name, index, value);
}
void Properties::setPointer(const char* name, void* value) const {
    if (suite_.propSetPointer(set_, name, 0, value) != kOK) throw StatusError{kErrMissingHostFeature};
}

std::string Properties::string(const char* name, const std::string& fallback) const {
    char* value = nullptr;
    if (suite_.propGetString(set_, name, 0, &value) != kOK || value == nullptr) return fallback;
    return value;
}

double Properties::number(const char* name, double fallback) const {
    double value = fallback;
    return suite_.propGetDouble(set_, name, 0, &value) == kOK ? value : fallback;
}

int Properties::integer(const char* name, int fallback) const {
    int value = fallback;
    return suite_.propGetInt(set_, name, 0, &value) == kOK ? value : fallback;
}

void* Properties::pointer(const char* name) const {
    void* value = nullptr;
    return suite_.propGetPointer(set_, name, 0, &value) == kOK ? value : nullptr;
}

OfxRectI Properties::rectangle(const char* name) const {
    std::array<int, 4> corners{};
    if (suite_.propGetIntN(set_, name, 4, corners.data()) != kOK) throw StatusError{kErrBadHandle};
    return {corners[0], corners[1], corners[2], corners[3]};
}

}  // namespace tumblewash::ofx
