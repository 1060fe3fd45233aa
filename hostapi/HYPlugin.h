// The records, enumerations and callbacks through which a host and the plug-in talk, and the plug-in's
// per-effect state. Plain data in the host's natural layout: nothing is packed or swapped, and
// HYPluginLayout.h asserts every position. No behaviour lives here, and no header of the image library is
// needed.
#pragma once

#include "platform/Types.h"

/// What the host asks for.
enum HYPluginSelector : std::uint8_t {
    kPlugGetInfo = 1,
    kPlugInitialize = 2,
    kPlugDrawIcon = 3,
    kPlugDrawThumbNail = 4,
    kPlugFilePlaceHolder = 5,
    kPlugDoFrame = 6,
    kPlugCallOnceWithInitAndTerminate = 7,
    kPlugTerminate = 8,
    kPlugCustomButtonClick = 9
};

/// Result of a request or of a callback.
enum HYPluginResult : std::uint8_t {
    kPluginOK = 0,
    kPluginCancel = 1,
    kPluginFinished = 2,
    kPluginBadParams = 3,
    kPluginOutOfMemory = 4,
    kPluginOutOfDiskSpace = 5,
    kPluginFailed = 6,
    kPluginCantGetNeededFrame = 7,
    kPluginUnimplemented = 8,
    kPluginTryAgainLater = 9,
    kPluginAppIsTooOld = 10,
    kPluginAppIsTooNew = 11
};

/// What kind of effect the plug-in offers, and which clips it takes frames from.
enum HYPluginType : std::uint8_t {
    kPluginUnknownType = 0,
    kPluginTitleType = 101,
    kPluginTransitionBeforeType = 102,
    kPluginTransitionBetweenType = 103,
    kPluginTransitionAfterType = 104,
    kPluginFilterType = 105
};

/// The direction that the user chose for a transition.
enum HYPluginDirection : std::uint8_t {
    kPluginDirectionNone = 0,
    kPluginDirectionUp = 1,
    kPluginDirectionDown = 2,
    kPluginDirectionLeft = 3,
    kPluginDirectionRight = 4
};
typedef HYPluginDirection hyPluginDirection;  ///< older spelling of the same type

/// The quality at which a source frame is wanted.
enum HYRefDVQuality : std::uint8_t { kDVLowQuality = 0, kDVHighQuality = 1, kDVHighQualitySingleField = 2 };

/// How a title takes its text.
enum HYTitleType : std::uint8_t {
    kTitleUnknown = 1,
    kTitleSingleTextPair = 2,
    kTitleMultiTextPair = 3,
    kTitleTextBlock = 4
};

/// How a title is set.
enum HYTitleJustification : std::uint8_t { kTitleJustCenter = 0, kTitleJustLeft = 1, kTitleJustRight = 2 };

typedef std::uint32_t
    HYPluginChoiceFlags;  ///< flag word of the settings offered; the plug-in writes 7 or leaves it

/// What the plug-in says about a transition. 48 bytes.
struct HYPluginGetInfo {
    HYPluginType pluginType;             ///< what kind of effect it is
    HYTitleType titleType;               ///< how a title takes its text
    HYPluginChoiceFlags pluginFlags;     ///< settings offered to the user
    std::int32_t framesToBeRendered;     ///< frames of the transition
    std::int32_t takeFromClipBefore;     ///< frames used from the end of the outgoing clip
    std::int32_t takeFromClipAfter;      ///< frames used from the start of the incoming clip
    std::int32_t minSpeedFrames;         ///< duration at the fast end of the speed setting, in frames
    std::int32_t maxSpeedFrames;         ///< duration at the slow end, in frames
    Boolean mustTakeFromSingleClips;     ///< frames may only come from single clips
    std::int32_t bestThumbOffset;        ///< frame that shows the effect best, from the start
    RGBColor defaultColor;               ///< colour before the user chooses one
    HYPluginDirection defaultDirection;  ///< direction before the user chooses one
    HYTitleJustification justify;        ///< how a title is set
    std::int16_t defaultFontNum;         ///< font number of a title
    std::int16_t defaultFontSize;        ///< font size of a title in points
};

/// One slider of a filter's or title's settings; the labels are C strings. 388 bytes.
struct HYPluginFilterSliderInfo {
    char label[128];     ///< C string
    char minLabel[128];  ///< C string at the low end
    char maxLabel[128];  ///< C string at the high end
    float defaultValue;  ///< 0 to 1
};

/// Second extension of the information record: filters and titles. 1328 bytes.
struct HY2PluginGetInfo {
    char group[128];                            ///< C string: the family the effect is listed under
    HYPluginFilterSliderInfo filterSliders[3];  ///< settings of a filter
    std::int32_t defaultFadeInFrames;           ///< frames a title takes to appear
    std::int32_t defaultFadeOutFrames;          ///< frames a title takes to vanish
    std::int32_t minHangFrames;                 ///< least frames a title stands
    std::int32_t maxHangFrames;                 ///< most frames a title stands
    float defaultFontSizeScale;                 ///< font size relative to the host's own
    std::int32_t selectedFrames;                ///< frames selected by the user
    std::int32_t speedFrames;                   ///< frames of the speed setting
    std::int32_t hangFrames;                    ///< frames a title stands
    std::int32_t baseMemoryNeeded;              ///< bytes the effect needs beside its frames
};

/// A file as the host's open dialogue names it; opaque, aligned to two bytes. 70 bytes.
struct HYPluginChosenFile {
    std::uint16_t opaque[35];  ///< the platform's file record
};

/// The file that the user is asked for. Holds a pointer: 80 bytes with 32-bit pointers.
struct HYPluginFileOpenInfo {
    std::int32_t typeCount;         ///< entries of `hTypes`
    OSType** hTypes;                ///< handle to the accepted file types
    HYPluginChosenFile chosenFile;  ///< the file last chosen
};

/// Third extension of the information record: position and file. 128 bytes with 32-bit pointers.
struct HY3PluginGetInfo {
    float defaultX;                 ///< position before the user chooses one, 0 to 1
    float defaultY;                 ///< position before the user chooses one, 0 to 1
    float userX;                    ///< position the user chose
    float userY;                    ///< position the user chose
    HYPluginFileOpenInfo fileInfo;  ///< the file the user is asked for
    char buttonTitle[32];           ///< C string on the button
};

/// Fourth extension of the information record. 388 bytes.
struct HY4PluginGetInfo {
    HYPluginFilterSliderInfo titleSliders;  ///< setting of a title
};

/// Extension of the transition record. 1 byte.
struct HY2PluginTransitionInfo {
    HYPluginDirection direction;  ///< the direction the user chose
};

/// The user's settings of a transition, lent through `GetTransitionInfo`. 8 bytes.
struct HYPluginTransitionInfo {
    float speed;                   ///< 0 to 1
    HY2PluginTransitionInfo ver2;  ///< extension
};

/// Extension of the clip record: direction of play and sound fades. 12 bytes.
struct HY2PluginClipInfo {
    Boolean backwards;           ///< the clip plays backwards
    std::int16_t frameSpeed;     ///< playing speed in the host's units
    std::int32_t fadeInFrames;   ///< frames over which the sound rises
    std::int32_t fadeOutFrames;  ///< frames over which the sound falls
};

/// The host's own reference to a clip; opaque. 220 bytes.
struct HYPluginClipRef {
    std::uint32_t opaque[55];  ///< the host's own
};

/// Extension of the clip record: which clip, and where in it. 224 bytes.
struct HY4PluginClipInfo {
    std::int32_t clipFrame;   ///< frame within the clip
    HYPluginClipRef clipRef;  ///< the host's reference to the clip
};

/// A clip's settings, copied by `GetClipInfo` and `SetClipInfo`. 496 bytes.
struct HYPluginClipInfo {
    std::int16_t volume;     ///< sound level, 255 is full
    Boolean fadeIn;          ///< the sound rises at the start
    Boolean fadeOut;         ///< the sound falls at the end
    Str255 name;             ///< length-prefixed
    HY2PluginClipInfo ver2;  ///< extension
    HY4PluginClipInfo ver4;  ///< extension
};

/// One pair of a title's lines as C strings; either may be null. The host owns them.
struct HYPluginTextPair {
    char* title;     ///< first line, or null
    char* subTitle;  ///< second line, or null
};

/// A title's text and style, lent through `GetTitleInfo`. No transition reads it; the buffer utilities
/// measure it.
struct _HYPluginTitleInfo {
    std::int16_t fontID;           ///< the platform's number of the font
    std::int16_t fontSize;         ///< points
    RGBColor color;                ///< text colour
    HYTitleJustification justify;  ///< how the lines are set
    std::int16_t pairCount;        ///< entries of `pairs`
    HYPluginTextPair* pairs;       ///< the title's lines, owned by the host
};
/// The record under its plain name.
typedef _HYPluginTitleInfo HYPluginTitleInfo;

/// A filter's settings, lent through `GetFilterInfo`; for the host and filters only.
struct HYPluginFilterInfo {
    std::int32_t filterFrame;       ///< frame of the filter to render, from 0
    std::int32_t filterFrameCount;  ///< frames of the filter
    float sliderValues[3];          ///< the user's settings, 0 to 1
};

/// What the host tells of the movie through `GetMovieInfo`; no transition asks.
struct HYPluginMovieInfo {
    std::int16_t width;      ///< pixels
    std::int16_t height;     ///< lines
    std::int32_t timeScale;  ///< units per second
    std::int32_t frameTime;  ///< units per frame
};

typedef void* HYPluginInstance;  ///< the host's own mark of a transition; first argument of most callbacks
typedef void* HYFrameCookie;     ///< names a lent frame for mixing and release
typedef void* HYAudioCookie;     ///< names a lent block of sound

/// The host's callbacks, thirty function pointers in this order. The frame, clip, transition and audio
/// callbacks take the instance first; the memory, string, measuring and blitting ones do not. A transition
/// calls `NewPtrClear`, `DisposePtr`, `pstrcpy`, `GetLocalizedString`, `GetFrame`, `ReleaseFrame`,
/// `GetClipInfo`, `SetClipInfo`, `Blit`, `GetTransitionInfo`, `ReleaseTransitionInfo` and `MixAudio`.
struct _HYProcs {
    /// A block of `size` bytes with any contents, or null.
    void* (*NewPtr)(std::int32_t size);
    /// A zero-filled block of `size` bytes, or null when memory is short.
    void* (*NewPtrClear)(std::int32_t size);
    /// Frees a block of the two callbacks above.
    HYPluginResult (*DisposePtr)(void* block);
    /// Turns a length-prefixed string into a C string in place.
    char* (*ptocstr)(StringPtr text);
    /// Turns a C string into a length-prefixed string in place.
    StringPtr (*ctopstr)(char* text);
    /// Copies a length-prefixed string.
    HYPluginResult (*pstrcpy)(StringPtr destination, ConstStr255Param source);
    /// Copies a C string.
    char* (*strcpy)(char* destination, const char* source);
    /// Length of a C string in bytes.
    std::int32_t (*strlen)(const char* text);
    /// Fills the 256-byte length-prefixed `destination` with a localised string, or empties it when there is
    /// none.
    HYPluginResult (*GetLocalizedString)(StringPtr destination, std::int16_t list, std::int16_t index);
    /// Lends a source frame as a 32-bit world, with its clip's volume (255 is full) and a cookie.
    HYPluginResult (*GetFrame)(HYPluginInstance instance, std::int32_t frame, GWorldPtr* world,
                               std::int16_t width, std::int16_t height, HYRefDVQuality quality,
                               std::int16_t* volume, HYFrameCookie* cookie);
    /// Ends the loan of a frame.
    HYPluginResult (*ReleaseFrame)(HYPluginInstance instance, HYFrameCookie cookie);
    /// Lends the sound of a source frame: interleaved 16-bit samples.
    HYPluginResult (*GetAudioFrame)(HYPluginInstance instance, std::int32_t frame, std::int16_t** samples,
                                    std::int32_t* sampleCount, HYAudioCookie* cookie);
    /// Ends the loan of a block of sound.
    HYPluginResult (*ReleaseAudioFrame)(HYPluginInstance instance, HYAudioCookie cookie);
    /// Copies what the host tells of the movie.
    HYPluginResult (*GetMovieInfo)(HYPluginInstance instance, HYPluginMovieInfo* info);
    /// Copies the settings of a clip in.
    HYPluginResult (*GetClipInfo)(HYPluginInstance instance, std::int16_t clip, HYPluginClipInfo* info);
    /// Writes the settings of the clip back.
    HYPluginResult (*SetClipInfo)(HYPluginInstance instance, const HYPluginClipInfo* info);
    /// Blends a rectangle over another with opacity level / 255.
    HYPluginResult (*Blit)(const PixMap* source, const PixMap* destination, const Rect* sourceRect,
                           const Rect* destinationRect, std::int16_t level);
    /// Fills a rectangle with a colour.
    HYPluginResult (*FillRect)(const PixMap* destination, const Rect* rect, const RGBColor* color);
    /// Bounds of a text drawn at the origin.
    HYPluginResult (*TextBounds)(ConstStr255Param text, Rect* bounds);
    /// Draws a text inside a rectangle of the world.
    HYPluginResult (*DrawText)(GWorldPtr world, ConstStr255Param text, const Rect* rect,
                               HYTitleJustification justify);
    /// Lends the title's record.
    HYPluginResult (*GetTitleInfo)(HYPluginInstance instance, HYPluginTitleInfo** info);
    /// Ends the loan of the title's record.
    HYPluginResult (*ReleaseTitleInfo)(HYPluginInstance instance, HYPluginTitleInfo* info);
    /// Lends the transition's record; the pointer may come back null.
    HYPluginResult (*GetTransitionInfo)(HYPluginInstance instance, HYPluginTransitionInfo** info);
    /// Ends the loan of the transition's record.
    HYPluginResult (*ReleaseTransitionInfo)(HYPluginInstance instance, HYPluginTransitionInfo* info);
    /// Mixes the sound of a lent frame at a level; 256 is full.
    HYPluginResult (*MixAudio)(HYPluginInstance instance, HYFrameCookie cookie, std::int16_t level);
    /// Lends the filter's record.
    HYPluginResult (*GetFilterInfo)(HYPluginInstance instance, HYPluginFilterInfo** info);
    /// Ends the loan of the filter's record.
    HYPluginResult (*ReleaseFilterInfo)(HYPluginInstance instance, HYPluginFilterInfo* info);
    /// Advance of a string in pixels in the current world's text style.
    std::int16_t (*StringWidth)(ConstStr255Param text);
    /// As `DrawText`, with a fractional size.
    HYPluginResult (*CGDrawText)(GWorldPtr world, ConstStr255Param text, const Rect* rect,
                                 HYTitleJustification justify, float size);
    /// As `StringWidth`, with a fractional size.
    float (*CGStringWidth)(ConstStr255Param text, float size);
};
/// The table under its plain name.
typedef _HYProcs HYProcs;

/// The parameter block of every request, owned by the host. 1940 bytes with 32-bit pointers.
struct _PluginParams {
    std::int16_t interfaceVersion;  ///< at least 4
    HYPluginInstance instance;      ///< the host's own mark of this transition
    HYPluginSelector selector;      ///< what is asked
    _HYProcs* procs;                ///< the host's callbacks
    HYPluginGetInfo getInfo;        ///< what the plug-in says about itself
    std::int32_t startFrame;        ///< first frame of the transition in the host's numbering
    std::int32_t renderFrame;       ///< frame of the transition to render, from 0
    std::int32_t frameCount;        ///< frames of the transition
    Boolean proxyOnly;              ///< preview at reduced cost
    Rect frameRect;                 ///< destination rectangle within `frame`
    GWorldPtr frame;                ///< destination world
    void* clientData;               ///< the plug-in's `_EffectData` between calls
    HY2PluginGetInfo getInfo2;      ///< extension
    HY3PluginGetInfo getInfo3;      ///< extension
    HY4PluginGetInfo getInfo4;      ///< extension
};
/// The block under its plain name.
typedef _PluginParams HYPluginParams;

template <class T>
class PixRectWrap;
template <class T>
class PixRectRW;
template <class T>
class RGBPixel;
struct ARGBVal;

/// The plug-in's state of one transition, from initialise to terminate; made zero-filled by `NewPtrClear`.
/// The five picture pointers own what they point at; the world is owned within one frame. 76 bytes with
/// 32-bit pointers.
struct _EffectData {
    std::int32_t frameCount;                 ///< frames of the transition; stays 0
    std::int32_t effectSourceCount;          ///< source frames of the effect
    float sliderValues[3];                   ///< settings of a filter
    std::int32_t fadeInFrames;               ///< sound rise written back at terminate
    std::int32_t fadeOutFrames;              ///< sound fall written back at terminate
    float zoom;                              ///< strength of the tilt plate
    std::int32_t gran;                       ///< cells along each side of a field
    float ox;                                ///< origin of a field, across
    float oy;                                ///< origin of a field, down
    float chx;                               ///< change of the origin, across
    float chy;                               ///< change of the origin, down
    GWorldPtr effectGWorld;                  ///< scratch world of the frame being rendered
    PixRectWrap<ARGBVal>* firstFrame;        ///< first key picture of the morph
    PixRectWrap<ARGBVal>* lastFrame;         ///< last key picture of the morph
    PixRectRW<RGBPixel<float>>* flowField1;  ///< displacement field, or the morph's forward motion field
    PixRectRW<RGBPixel<float>>* flowField2;  ///< the morph's backward motion field
    PixRectRW<ARGBVal>* refpic;              ///< destroyed with the rest; nothing fills it
};
/// The state under its plain name.
typedef _EffectData EffectData;

/// Pixel-map handles over the two fields of one interlaced frame.
struct InterlacedPMH {
    PixMapHandle even;  ///< lines 0, 2, 4, ...
    PixMapHandle odd;   ///< lines 1, 3, 5, ...
};

#include "hostapi/HYPluginLayout.h"
