// An edit: the clips of a movie with their in and out points, the seams between them, an opening, a closing,
// sound and output, as plain values. Nothing here has looked at a file or at the plug-in. How an edit is
// written and read is Document.h's; what it comes to in frames is settled in Request.h.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "edit/Times.h"
#include "host/AudioMix.h"
#include "hostapi/HYPlugin.h"
#include "media/ColourPlan.h"
#include "media/Reader.h"

namespace tumblewash::edit {

/// A value with the words in which it was written, which are kept so that a document that was read is written
/// again as it stood. Words that are empty mean the usual ones.
template <class Value>
struct Written {
    Value value{};
    std::string words;
    bool operator==(const Written&) const = default;
};

/// A length or a moment: whole frames at the edit's rate, or microseconds that wait for it.
using EditTime = Written<TimeSpan>;

/// What stands between two clips, or at the start or the end of the edit. What is unset comes from the edit's
/// `seams`, and what is unset there too is the program's own.
struct EditSeam {
    std::optional<std::string> effect;    ///< an id of the catalogue; `none` is a cut
    std::optional<EditTime> duration;     ///< unset: as long as the clips allow, at most a second
    std::optional<Written<float>> speed;  ///< 0 to 1 instead of a duration: the plug-in's own length for it
    std::optional<HYPluginDirection> direction;
    std::optional<std::uint32_t> seed;
    std::optional<host::AudioPolicy> sound;
    bool operator==(const EditSeam&) const = default;
};

/// What a file was like when it was planned with: a change since then is noticed by it.
struct FileMark {
    std::uint64_t bytes = 0;
    std::string modified;  ///< UTC, `2026-01-31T12:00:00Z`
    std::string head;      ///< 16 hexadecimal digits of its first 64 KiB
    bool operator==(const FileMark&) const = default;
};

/// One clip, still, drawn scene or stretch of black.
struct EditClip {
    std::string file;                     ///< as the document writes it, from its folder; empty: black
    std::optional<EditTime> in;           ///< first picture, on the file's own clock from 0; unset: its start
    std::optional<EditTime> out;          ///< the picture after the last one; unset: its end
    std::optional<EditTime> length;       ///< of black; of a still, where it differs from the edit's
    std::optional<Written<double>> gain;  ///< of its sound, in dB
    std::optional<EditSeam> seam;      ///< leads into this clip from the one before; never in the first clip
    std::optional<std::string> title;  ///< of its chapter; unset: the file's name
    std::optional<FileMark> was;
    bool black() const noexcept { return file.empty(); }
    bool operator==(const EditClip&) const = default;
};

/// Music under the whole movie, looped or cut to its length.
struct EditMusic {
    std::string file;              ///< as the document writes it, from its folder
    Written<double> gain{0, {}};   ///< dB
    Written<double> duck{12, {}};  ///< dB by which it is lowered under clips that have sound; 0: never
    bool operator==(const EditMusic&) const = default;
};

/// How many channels the sound has.
enum class ChannelChoice {
    keep,    ///< mono where all clips with sound are mono, 5.1 where all are, else stereo
    stereo,  ///< two, whatever the clips have
    mono     ///< one
};

/// How a still moves while it is shown.
enum class StillMotion {
    none,  ///< not at all
    zoom,  ///< slowly nearer or away
    pan    ///< slowly to one side
};

/// Whether frames between seams are copied as they are coded.
enum class CopyBodies {
    never,
    automatic,  ///< where the clips allow it and nothing else is asked of them; else all is rendered
    always      ///< or the edit is refused
};

/// The size, rate and encoding of the movie. What is unset comes from the first clip, or is the program's.
struct EditOutput {
    std::optional<PixelSize> size;
    std::optional<Written<media::FrameRate>> rate;
    std::optional<media::Fit> fit;  ///< unset: blur for stills, contain for clips
    std::optional<int> crf;
    std::optional<std::string> preset;
    media::ColourWishes colour;  ///< codec, depth, HDR, transparency; the kind of file must hold them
    std::optional<CopyBodies> copyBodies;  ///< unset: automatic
    bool operator==(const EditOutput&) const = default;
};

/// An edit. Defaults are the program's.
struct Edit {
    std::string folder;  ///< where relative files are looked for; empty: the working directory. Not written
    std::optional<std::string> title;
    std::optional<std::string> comment;
    bool chapters = false;  ///< a chapter at the start of each clip
    EditOutput output;
    host::AudioPolicy sound = host::AudioPolicy::natural;
    ChannelChoice channels = ChannelChoice::keep;
    bool limiter = true;                      ///< peaks are kept below -1 dB of full scale
    std::optional<Written<double>> loudness;  ///< LUFS that every clip's sound is brought to
    std::optional<EditMusic> music;
    EditTime still{{TimeSpan::Unit::Microseconds, 4000000}, {}};  ///< how long a still lasts
    std::optional<EditTime> hold;  ///< instead: how long a still stands whole, its seams not counted
    StillMotion stillMotion = StillMotion::none;  ///< which way each goes is drawn from the seams' seed
    EditSeam seams;                               ///< what seams, opening and closing leave unset
    std::optional<EditSeam> opening;              ///< brings the picture at the start
    std::optional<EditSeam> closing;              ///< takes it away at the end
    std::vector<EditClip> clips;
    bool operator==(const Edit&) const = default;
};

/// The file of a clip as it can be opened: drawn scenes and absolute names as they are, others from the
/// edit's folder.
std::string fileOf(const Edit& edit, const EditClip& clip);

/// The file of the edit's music, as it can be opened; empty without music.
std::string musicOf(const Edit& edit);

/// How pictures of another shape are fitted: as the edit says, else stills over a blurred copy of their own,
/// since black boards beside a photo would fly and wash away with it, and clips between bars.
media::Fit fitOf(const Edit& edit, bool still);

/// The usual words of a time: `26f`, `1.5s`.
std::string timeWords(TimeSpan span);

/// The usual words of a rate: `25`, `30000/1001`.
std::string rateWords(media::FrameRate rate);

/// The words of a time as it was written.
std::string wordsOf(const EditTime& time);

}  // namespace tumblewash::edit
