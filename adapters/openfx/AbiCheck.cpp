// Compares OfxAbi.h with the real headers, member by member, when a user has them (-DOFX_INCLUDE_DIR=...).
// The real headers' names stay global; ours are taken from a copy inside a namespace.

#include <ofxCore.h>
#include <ofxImageEffect.h>
#include <ofxMessage.h>
#include <ofxParam.h>
#include <ofxProperty.h>

#include <cstddef>
#include <string_view>

namespace ours {
#include "adapters/openfx/OfxAbi.h"
}

namespace {

using ours::tumblewash::ofx::kOK;

#define SAME_MEMBER(type, member) static_assert(offsetof(::type, member) == offsetof(ours::type, member))
#define SAME_SIZE(type) static_assert(sizeof(::type) == sizeof(ours::type))
#define SAME_TEXT(macro, name) static_assert(std::string_view(macro) == ours::tumblewash::ofx::name)

SAME_SIZE(OfxRectI);
SAME_SIZE(OfxHost);
SAME_MEMBER(OfxHost, fetchSuite);
SAME_SIZE(OfxPlugin);
SAME_MEMBER(OfxPlugin, pluginIdentifier);
SAME_MEMBER(OfxPlugin, setHost);
SAME_MEMBER(OfxPlugin, mainEntry);
SAME_SIZE(OfxPropertySuiteV1);
SAME_MEMBER(OfxPropertySuiteV1, propSetInt);
SAME_MEMBER(OfxPropertySuiteV1, propGetPointer);
SAME_MEMBER(OfxPropertySuiteV1, propGetIntN);
SAME_MEMBER(OfxPropertySuiteV1, propGetDimension);
SAME_SIZE(OfxImageEffectSuiteV1);
SAME_MEMBER(OfxImageEffectSuiteV1, clipGetHandle);
SAME_MEMBER(OfxImageEffectSuiteV1, clipGetImage);
SAME_MEMBER(OfxImageEffectSuiteV1, clipReleaseImage);
SAME_MEMBER(OfxImageEffectSuiteV1, clipGetPropertySet);
SAME_MEMBER(OfxImageEffectSuiteV1, clipGetRegionOfDefinition);
SAME_MEMBER(OfxImageEffectSuiteV1, abort);
SAME_SIZE(OfxParameterSuiteV1);
SAME_MEMBER(OfxParameterSuiteV1, paramGetHandle);
SAME_MEMBER(OfxParameterSuiteV1, paramGetValueAtTime);
SAME_TEXT(kOfxActionLoad, kActionLoad);
SAME_TEXT(kOfxActionUnload, kActionUnload);
SAME_TEXT(kOfxActionDescribe, kActionDescribe);
SAME_TEXT(kOfxImageEffectActionDescribeInContext, kActionDescribeInContext);
SAME_TEXT(kOfxActionCreateInstance, kActionCreateInstance);
SAME_TEXT(kOfxActionDestroyInstance, kActionDestroyInstance);
SAME_TEXT(kOfxImageEffectActionIsIdentity, kActionIsIdentity);
SAME_TEXT(kOfxImageEffectActionRender, kActionRender);
SAME_TEXT(kOfxImageEffectActionGetRegionOfDefinition, kActionRegionOfDefinition);
SAME_TEXT(kOfxImageEffectActionGetClipPreferences, kActionClipPreferences);
SAME_TEXT(kOfxImageEffectContextFilter, kContextFilter);
SAME_TEXT(kOfxImageEffectSimpleSourceClipName, kClipSource);
SAME_TEXT(kOfxImageClipPropConnected, kPropClipConnected);
SAME_TEXT(kOfxImageEffectPropRegionOfDefinition, kPropRegionOfDefinition);
SAME_TEXT(kOfxParamTypePage, kParamTypePage);
SAME_TEXT(kOfxParamPropPageChild, kParamPageChild);
SAME_TEXT(kOfxParamPropIncrement, kParamIncrement);
SAME_TEXT(kOfxParamPropDigits, kParamDigits);
SAME_TEXT(kOfxImageEffectContextTransition, kContextTransition);
SAME_TEXT(kOfxImageEffectContextGeneral, kContextGeneral);
SAME_TEXT(kOfxImageEffectPropSupportedPixelDepths, kPropSupportedPixelDepths);
SAME_TEXT(kOfxImageEffectPropSupportedComponents, kPropSupportedComponents);
SAME_TEXT(kOfxImageEffectPropRenderWindow, kPropRenderWindow);
SAME_TEXT(kOfxImagePropData, kPropImageData);
SAME_TEXT(kOfxImagePropBounds, kPropImageBounds);
SAME_TEXT(kOfxImagePropRowBytes, kPropImageRowBytes);
SAME_TEXT(kOfxImageEffectPropPreMultiplication, kPropPreMultiplication);
SAME_TEXT(kOfxImageUnPreMultiplied, kImageUnPreMultiplied);
SAME_TEXT(kOfxImagePreMultiplied, kImagePreMultiplied);
SAME_TEXT(kOfxParamPropDefault, kParamDefault);
SAME_TEXT(kOfxParamPropChoiceOption, kParamChoiceOption);
static_assert(kOfxStatOK == kOK);
static_assert(kOfxStatReplyDefault == ours::tumblewash::ofx::kReplyDefault);
static_assert(kOfxStatErrMissingHostFeature == ours::tumblewash::ofx::kErrMissingHostFeature);

}  // namespace
