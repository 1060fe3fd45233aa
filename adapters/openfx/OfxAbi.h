// The binary interface of OpenFX that this bundle uses: entry records, four suites, property and action
// names. Declared here from the published standard (Image Effect API 1.4, ASWF OpenFX), so that the build
// needs no foreign headers. Not a general OpenFX header: what the bundle never touches is missing, and suite
// members it never calls are untyped.
#pragma once

#include <cstddef>

extern "C" {

/// Result of every action and suite call. Zero is success; the other values are listed below.
using OfxStatus = int;
using OfxTime = double;
using OfxPropertySetHandle = struct OfxPropertySetStruct*;
using OfxImageEffectHandle = struct OfxImageEffectStruct*;
using OfxImageClipHandle = struct OfxImageClipStruct*;
using OfxImageMemoryHandle = struct OfxImageMemoryStruct*;
using OfxParamSetHandle = struct OfxParamSetStruct*;
using OfxParamHandle = struct OfxParamStruct*;

/// Rectangle in pixels, lower-left corner inclusive, upper-right exclusive; y grows upwards.
struct OfxRectI {
    int x1, y1, x2, y2;
};
/// The same in canonical coordinates.
struct OfxRectD {
    double x1, y1, x2, y2;
};

/// What a host hands to setHost: its own property set and the way to its suites.
struct OfxHost {
    OfxPropertySetHandle host;
    /// Null when the host does not have that suite in that version.
    const void* (*fetchSuite)(OfxPropertySetHandle host, const char* suiteName, int suiteVersion);
};

using OfxPluginEntryPoint = OfxStatus(const char* action, const void* handle, OfxPropertySetHandle inArgs,
                                      OfxPropertySetHandle outArgs);

/// One plug-in of a binary; returned by OfxGetPlugin and owned by the binary until it is unloaded.
struct OfxPlugin {
    const char* pluginApi;
    int apiVersion;
    const char* pluginIdentifier;
    unsigned int pluginVersionMajor;
    unsigned int pluginVersionMinor;
    void (*setHost)(OfxHost* host);
    OfxPluginEntryPoint* mainEntry;
};

/// "OfxPropertySuite" version 1: typed, indexed values in a property set.
struct OfxPropertySuiteV1 {
    OfxStatus (*propSetPointer)(OfxPropertySetHandle, const char* name, int index, void* value);
    OfxStatus (*propSetString)(OfxPropertySetHandle, const char* name, int index, const char* value);
    OfxStatus (*propSetDouble)(OfxPropertySetHandle, const char* name, int index, double value);
    OfxStatus (*propSetInt)(OfxPropertySetHandle, const char* name, int index, int value);
    OfxStatus (*propSetPointerN)(OfxPropertySetHandle, const char* name, int count, void* const* value);
    OfxStatus (*propSetStringN)(OfxPropertySetHandle, const char* name, int count, const char* const* value);
    OfxStatus (*propSetDoubleN)(OfxPropertySetHandle, const char* name, int count, const double* value);
    OfxStatus (*propSetIntN)(OfxPropertySetHandle, const char* name, int count, const int* value);
    OfxStatus (*propGetPointer)(OfxPropertySetHandle, const char* name, int index, void** value);
    OfxStatus (*propGetString)(OfxPropertySetHandle, const char* name, int index, char** value);
    OfxStatus (*propGetDouble)(OfxPropertySetHandle, const char* name, int index, double* value);
    OfxStatus (*propGetInt)(OfxPropertySetHandle, const char* name, int index, int* value);
    OfxStatus (*propGetPointerN)(OfxPropertySetHandle, const char* name, int count, void** value);
    OfxStatus (*propGetStringN)(OfxPropertySetHandle, const char* name, int count, char** value);
    OfxStatus (*propGetDoubleN)(OfxPropertySetHandle, const char* name, int count, double* value);
    OfxStatus (*propGetIntN)(OfxPropertySetHandle, const char* name, int count, int* value);
    OfxStatus (*propReset)(OfxPropertySetHandle, const char* name);
    OfxStatus (*propGetDimension)(OfxPropertySetHandle, const char* name, int* count);
};

/// "OfxImageEffectSuite" version 1: clips and their images.
struct OfxImageEffectSuiteV1 {
    OfxStatus (*getPropertySet)(OfxImageEffectHandle, OfxPropertySetHandle*);
    OfxStatus (*getParamSet)(OfxImageEffectHandle, OfxParamSetHandle*);
    OfxStatus (*clipDefine)(OfxImageEffectHandle, const char* name, OfxPropertySetHandle*);
    OfxStatus (*clipGetHandle)(OfxImageEffectHandle, const char* name, OfxImageClipHandle*,
                               OfxPropertySetHandle*);
    OfxStatus (*clipGetPropertySet)(OfxImageClipHandle, OfxPropertySetHandle*);
    /// The image's property set stays valid until clipReleaseImage; a status other than OK means there is no
    /// image.
    OfxStatus (*clipGetImage)(OfxImageClipHandle, OfxTime, const OfxRectD* region,
                              OfxPropertySetHandle* image);
    OfxStatus (*clipReleaseImage)(OfxPropertySetHandle image);
    OfxStatus (*clipGetRegionOfDefinition)(OfxImageClipHandle, OfxTime, OfxRectD*);
    /// Non-zero when the host wants the render to stop.
    int (*abort)(OfxImageEffectHandle);
    OfxStatus (*imageMemoryAlloc)(OfxImageEffectHandle, std::size_t bytes, OfxImageMemoryHandle*);
    OfxStatus (*imageMemoryFree)(OfxImageMemoryHandle);
    OfxStatus (*imageMemoryLock)(OfxImageMemoryHandle, void** memory);
    OfxStatus (*imageMemoryUnlock)(OfxImageMemoryHandle);
};

/// "OfxParameterSuite" version 1. The values of get and set calls travel as variadic arguments of the
/// parameter's type.
struct OfxParameterSuiteV1 {
    OfxStatus (*paramDefine)(OfxParamSetHandle, const char* type, const char* name, OfxPropertySetHandle*);
    OfxStatus (*paramGetHandle)(OfxParamSetHandle, const char* name, OfxParamHandle*, OfxPropertySetHandle*);
    OfxStatus (*paramSetGetPropertySet)(OfxParamSetHandle, OfxPropertySetHandle*);
    OfxStatus (*paramGetPropertySet)(OfxParamHandle, OfxPropertySetHandle*);
    OfxStatus (*paramGetValue)(OfxParamHandle, ...);
    OfxStatus (*paramGetValueAtTime)(OfxParamHandle, OfxTime, ...);
    OfxStatus (*paramGetDerivative)(OfxParamHandle, OfxTime, ...);
    OfxStatus (*paramGetIntegral)(OfxParamHandle, OfxTime, OfxTime, ...);
    OfxStatus (*paramSetValue)(OfxParamHandle, ...);
    OfxStatus (*paramSetValueAtTime)(OfxParamHandle, OfxTime, ...);
    OfxStatus (*paramGetNumKeys)(OfxParamHandle, unsigned int*);
    OfxStatus (*paramGetKeyTime)(OfxParamHandle, unsigned int, OfxTime*);
    OfxStatus (*paramGetKeyIndex)(OfxParamHandle, OfxTime, int, int*);
    OfxStatus (*paramDeleteKey)(OfxParamHandle, OfxTime);
    OfxStatus (*paramDeleteAllKeys)(OfxParamHandle);
    OfxStatus (*paramCopy)(OfxParamHandle to, OfxParamHandle from, OfxTime offset, const double* range);
    OfxStatus (*paramEditBegin)(OfxParamSetHandle, const char* name);
    OfxStatus (*paramEditEnd)(OfxParamSetHandle);
};

/// "OfxMessageSuite" version 1; optional. The text is a printf format.
struct OfxMessageSuiteV1 {
    OfxStatus (*message)(void* handle, const char* type, const char* id, const char* format, ...);
};
}

namespace tumblewash::ofx {

inline constexpr OfxStatus kOK = 0;          ///< done
inline constexpr OfxStatus kFailed = 1;      ///< failed for a reason of its own
inline constexpr OfxStatus kErrFatal = 2;    ///< the plug-in is beyond use
inline constexpr OfxStatus kErrUnknown = 3;  ///< a name that is not known
inline constexpr OfxStatus kErrMissingHostFeature =
    4;                                           ///< a suite or context that the plug-in needs is missing
inline constexpr OfxStatus kErrUnsupported = 5;  ///< something the plug-in does not do
inline constexpr OfxStatus kErrExists = 6;       ///< the thing exists already
inline constexpr OfxStatus kErrFormat = 7;       ///< wrong format
inline constexpr OfxStatus kErrMemory = 8;       ///< memory is short
inline constexpr OfxStatus kErrBadHandle = 9;    ///< a handle that is not one
inline constexpr OfxStatus kErrBadIndex = 10;    ///< an index outside the dimension
inline constexpr OfxStatus kErrValue = 11;       ///< a value outside the range
inline constexpr OfxStatus kReplyYes = 12;       ///< answer to a question
inline constexpr OfxStatus kReplyNo = 13;        ///< answer to a question
inline constexpr OfxStatus kReplyDefault = 14;   ///< "do what you do without me"

inline constexpr const char* kImageEffectApi = "OfxImageEffectPluginAPI";
inline constexpr int kImageEffectApiVersion = 1;

inline constexpr const char* kPropertySuite = "OfxPropertySuite";
inline constexpr const char* kImageEffectSuite = "OfxImageEffectSuite";
inline constexpr const char* kParameterSuite = "OfxParameterSuite";
inline constexpr const char* kMessageSuite = "OfxMessageSuite";

// Actions: what the host asks of mainEntry.
inline constexpr const char* kActionLoad = "OfxActionLoad";
inline constexpr const char* kActionUnload = "OfxActionUnload";
inline constexpr const char* kActionDescribe = "OfxActionDescribe";
inline constexpr const char* kActionDescribeInContext = "OfxImageEffectActionDescribeInContext";
inline constexpr const char* kActionCreateInstance = "OfxActionCreateInstance";
inline constexpr const char* kActionDestroyInstance = "OfxActionDestroyInstance";
inline constexpr const char* kActionIsIdentity = "OfxImageEffectActionIsIdentity";
inline constexpr const char* kActionRender = "OfxImageEffectActionRender";
inline constexpr const char* kActionRegionOfDefinition = "OfxImageEffectActionGetRegionOfDefinition";
inline constexpr const char* kActionClipPreferences = "OfxImageEffectActionGetClipPreferences";

// Contexts and their fixed names.
inline constexpr const char* kContextTransition = "OfxImageEffectContextTransition";
inline constexpr const char* kContextGeneral = "OfxImageEffectContextGeneral";
inline constexpr const char* kContextFilter = "OfxImageEffectContextFilter";
inline constexpr const char* kClipSource = "Source";           ///< the one picture of a filter
inline constexpr const char* kClipFrom = "SourceFrom";         ///< outgoing picture of a transition
inline constexpr const char* kClipTo = "SourceTo";             ///< incoming picture of a transition
inline constexpr const char* kClipOutput = "Output";           ///< where the result goes
inline constexpr const char* kParamTransition = "Transition";  ///< the host drives it from 0 to 1

// Properties. Each comment says type and dimension (N = any) and what it means.
inline constexpr const char* kPropType = "OfxPropType";  ///< string 1: what kind of object the set describes
inline constexpr const char* kPropName =
    "OfxPropName";  ///< string 1: name; the identity's clip in is-identity
inline constexpr const char* kPropTime = "OfxPropTime";    ///< double 1: frame being asked for
inline constexpr const char* kPropLabel = "OfxPropLabel";  ///< string 1: what users read
inline constexpr const char* kPropShortLabel =
    "OfxPropShortLabel";  ///< string 1: the same, up to 13 characters
inline constexpr const char* kPropLongLabel =
    "OfxPropLongLabel";  ///< string 1: the same, up to 32 characters
inline constexpr const char* kPropPluginDescription = "OfxPropPluginDescription";  ///< string 1: help text
inline constexpr const char* kPropInstanceData =
    "OfxPropInstanceData";  ///< pointer 1: the instance's own data
inline constexpr const char* kPropGrouping = "OfxImageEffectPluginPropGrouping";  ///< string 1: menu path
inline constexpr const char* kPropContext =
    "OfxImageEffectPropContext";  ///< string 1: context of describe or instance
inline constexpr const char* kPropSupportedContexts = "OfxImageEffectPropSupportedContexts";  ///< string N
inline constexpr const char* kPropSupportedPixelDepths =
    "OfxImageEffectPropSupportedPixelDepths";  ///< string N
inline constexpr const char* kPropSupportedComponents =
    "OfxImageEffectPropSupportedComponents";  ///< string N, on a clip
inline constexpr const char* kPropSupportsTiles =
    "OfxImageEffectPropSupportsTiles";  ///< int 1: parts of pictures accepted
inline constexpr const char* kPropMultiResolution =
    "OfxImageEffectPropSupportsMultiResolution";  ///< int 1: sizes may differ
inline constexpr const char* kPropTemporalClipAccess =
    "OfxImageEffectPropTemporalClipAccess";  ///< int 1: other times read
inline constexpr const char* kPropSingleInstance =
    "OfxImageEffectPluginPropSingleInstance";  ///< int 1: only one may exist
inline constexpr const char* kPropHostFrameThreading =
    "OfxImageEffectPluginPropHostFrameThreading";  ///< int 1: host slices
inline constexpr const char* kPropRenderThreadSafety =
    "OfxImageEffectPluginRenderThreadSafety";  ///< string 1
inline constexpr const char* kRenderFullySafe =
    "OfxImageEffectRenderFullySafe";  ///< any thread, any instance, any order
inline constexpr const char* kPropClipOptional =
    "OfxImageClipPropOptional";  ///< int 1: clip may stay unconnected
inline constexpr const char* kPropClipConnected = "OfxImageClipPropConnected";  ///< int 1: clip has pictures
inline constexpr const char* kPropRegionOfDefinition =
    "OfxImageEffectPropRegionOfDefinition";  ///< double 4: where the result has pixels
inline constexpr const char* kPropRenderWindow =
    "OfxImageEffectPropRenderWindow";  ///< int 4: part of Output to fill
inline constexpr const char* kPropPixelDepth =
    "OfxImageEffectPropPixelDepth";  ///< string 1: type of a component
inline constexpr const char* kPropComponents =
    "OfxImageEffectPropComponents";  ///< string 1: which components
inline constexpr const char* kPropPreMultiplication =
    "OfxImageEffectPropPreMultiplication";  ///< string 1: meaning of alpha
inline constexpr const char* kPropImageData =
    "OfxImagePropData";  ///< pointer 1: pixel (x1, y1) of the bounds
inline constexpr const char* kPropImageBounds = "OfxImagePropBounds";  ///< int 4: pixels that have memory
inline constexpr const char* kPropImageRowBytes =
    "OfxImagePropRowBytes";  ///< int 1: from a row to the one above; may be negative

inline constexpr const char* kDepthByte = "OfxBitDepthByte";    ///< 8-bit, 255 is 1.0
inline constexpr const char* kDepthShort = "OfxBitDepthShort";  ///< 16-bit, 65535 is 1.0
inline constexpr const char* kDepthFloat = "OfxBitDepthFloat";  ///< 32-bit float, 1.0 is white
inline constexpr const char* kComponentRGBA = "OfxImageComponentRGBA";
inline constexpr const char* kImageOpaque = "OfxImageOpaque";  ///< alpha is 1 whatever it says
inline constexpr const char* kImagePreMultiplied = "OfxImageAlphaPremultiplied";  ///< colour carries alpha
inline constexpr const char* kImageUnPreMultiplied = "OfxImageAlphaUnPremultiplied";  ///< straight alpha

// Parameters.
inline constexpr const char* kParamTypeDouble = "OfxParamTypeDouble";
inline constexpr const char* kParamTypeInteger = "OfxParamTypeInteger";
inline constexpr const char* kParamTypeChoice = "OfxParamTypeChoice";
inline constexpr const char* kParamTypePage = "OfxParamTypePage";
inline constexpr const char* kParamPageChild = "OfxParamPropPageChild";  ///< string N: what a page shows
inline constexpr const char* kParamIncrement = "OfxParamPropIncrement";  ///< double 1: step of a knob
inline constexpr const char* kParamDigits = "OfxParamPropDigits";        ///< int 1: decimals shown
inline constexpr const char* kParamDefault =
    "OfxParamPropDefault";                                   ///< the parameter's type: value at creation
inline constexpr const char* kParamMin = "OfxParamPropMin";  ///< least value
inline constexpr const char* kParamMax = "OfxParamPropMax";  ///< greatest value
inline constexpr const char* kParamDisplayMin =
    "OfxParamPropDisplayMin";  ///< least value that a slider shows
inline constexpr const char* kParamDisplayMax =
    "OfxParamPropDisplayMax";  ///< greatest value that a slider shows
inline constexpr const char* kParamChoiceOption = "OfxParamPropChoiceOption";  ///< string N: one line each
inline constexpr const char* kParamHint = "OfxParamPropHint";                  ///< string 1: tooltip
inline constexpr const char* kParamAnimates = "OfxParamPropAnimates";          ///< int 1: may have key frames

// Messages.
inline constexpr const char* kMessageLog = "OfxMessageLog";

}  // namespace tumblewash::ofx
