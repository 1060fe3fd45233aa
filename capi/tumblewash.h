/* The transitions of tumblewash for programs in C, and in every language that calls C: the catalogue, one
 * picture, a whole edit. It is no plug-in interface and knows no host; programs in C++ may use
 * effects/Effect.h.
 *
 * Link with -ltumblewash (pkg-config tumblewash). Every function may be called from any thread, and prepared
 * effects may be shared by threads. One picture is made by the calling thread, unless tw_effect_set_threads
 * asks for more. No exception leaves a function. Rendering one picture uses neither the locale, the
 * environment nor rand(). An edit draws from rand() as its transitions begin, and the program's own numbers
 * go on afterwards as if it had not: threads that call rand() at the same time may get, and take, some of the
 * edit's. Codecs and fonts read the environment.
 *
 * A function that fails returns a status other than TW_OK; tw_last_error() then has the sentence.
 */
#ifndef TUMBLEWASH_H
#define TUMBLEWASH_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The version of this header. Within a major version programs keep running with newer libraries. */
#define TW_VERSION_MAJOR 0
#define TW_VERSION_MINOR 1
#define TW_VERSION_PATCH 0
#define TW_VERSION ((TW_VERSION_MAJOR << 16) | (TW_VERSION_MINOR << 8) | TW_VERSION_PATCH)

/* The version of the library in use, composed like TW_VERSION; and as text, such as "0.1.0", static. */
uint32_t tw_version(void);
const char* tw_version_string(void);

/* How a call went. */
typedef enum tw_status {
    TW_OK = 0,
    TW_BAD_ARGUMENT = 1, /* a null pointer, an unknown effect, a wrong stride, an edit that is not valid */
    TW_BAD_INPUT = 2,    /* a clip or the file of an edit cannot be read */
    TW_BAD_OUTPUT = 3,   /* the result cannot be written, or exists */
    TW_FAILED = 4,       /* rendering broke after it had begun */
    TW_NO_MEMORY = 5,    /* memory ran out */
    TW_CANCELLED = 6     /* the progress function asked for the end */
} tw_status;

/* One line on what went wrong in the last call of this thread that failed: what is wrong and what to do, with
 * the file's name where there is one. Valid until the next call that fails in this thread; "" before the
 * first. */
const char* tw_last_error(void);

/* ---- The catalogue ---- */

/* What an effect is. All texts are static and in UTF-8. */
typedef struct tw_effect_info {
    const char* id;       /* short name, such as "wash-away": never changes */
    const char* name;     /* name for people, in English */
    const char* sentence; /* what is seen */
    int index;            /* 0 and up, the order of the catalogue */
    int clips;            /* pictures it takes: 1 or 2 */
    int arrives;          /* of one clip: 1 when the picture comes, 0 when it leaves */
    int has_knobs;        /* 1 when direction and seed change the picture */
    int reveals;          /* 1 when the incoming picture moves over the outgoing one */
} tw_effect_info;

/* The number of effects. */
int tw_effect_count(void);

/* Fills `info` with the effect at `index`, 0 to tw_effect_count() - 1. */
tw_status tw_effect_at(int index, tw_effect_info* info);

/* Fills `info` with the effect of this id; an unknown one is TW_BAD_ARGUMENT, and the error names the
 * nearest. */
tw_status tw_effect_find(const char* id, tw_effect_info* info);

/* ---- One picture ---- */

/* The bytes of a pixel in memory, 8 bits each. */
typedef enum tw_format { TW_ARGB = 0, TW_RGBA = 1, TW_BGRA = 2, TW_RGB = 3, TW_BGR = 4 } tw_format;

/* What alpha means. Formats without alpha are opaque. */
typedef enum tw_alpha {
    TW_STRAIGHT = 0,      /* colours stand for themselves */
    TW_PREMULTIPLIED = 1, /* colours carry alpha already */
    TW_OPAQUE = 2         /* nothing: every pixel is opaque */
} tw_alpha;

/* A picture to read. Rows lie `stride` bytes apart, which may be more than a row has, and negative for
 * pictures kept from the bottom up. The memory stays the caller's. */
typedef struct tw_picture {
    const uint8_t* pixels; /* the first pixel of the top row */
    ptrdiff_t stride;
    int width;  /* 1 and up */
    int height; /* 1 and up */
    tw_format format;
    tw_alpha alpha;
} tw_picture;

/* A picture to write. It overlaps no picture that is read. With TW_OPAQUE every alpha byte becomes 255. */
typedef struct tw_target {
    uint8_t* pixels; /* the first pixel of the top row */
    ptrdiff_t stride;
    int width;
    int height;
    tw_format format;
    tw_alpha alpha;
} tw_target;

/* The edge by which a picture leaves. */
typedef enum tw_direction { TW_RIGHT = 0, TW_LEFT = 1, TW_UP = 2, TW_DOWN = 3 } tw_direction;

/* What may be chosen; null pointers to it stand for TW_KNOBS_INIT. */
typedef struct tw_knobs {
    tw_direction direction; /* of the washes */
    uint32_t seed;          /* of the washes' random field: one number, one field, everywhere */
} tw_knobs;
#define TW_KNOBS_INIT \
    { TW_RIGHT, 1 }

/* Renders `effect` at `position`, 0 to 1, of `first` and, for effects of two clips, `second`, which is not
 * looked at otherwise and may be null. At 0 and below the result is the first picture, at 1 and above the
 * second one, and what is no number is 0; an end of an effect of one clip that has no picture is transparent
 * black. In between the colours are those that `tumblewash frame --frame K --of N` writes for K / N =
 * position (a morph counts from one: (K + 1) / N), and alpha moves with them. All pictures and the target
 * have one size. */
tw_status tw_render(const char* effect, double position, const tw_picture* first, const tw_picture* second,
                    const tw_knobs* knobs, const tw_target* target);

/* An effect that is kept: the same bytes, without preparing it for every picture. Null when it fails. Sizes
 * may change from picture to picture. */
typedef struct tw_effect tw_effect;
tw_effect* tw_effect_new(const char* effect, const tw_knobs* knobs);
tw_status tw_effect_render(const tw_effect* effect, double position, const tw_picture* first,
                           const tw_picture* second, const tw_target* target);

/* The most threads that share a picture. */
#define TW_MOST_THREADS 64

/* Has every picture of a kept effect that is larger than a megapixel (1000000 pixels) rendered by `threads`
 * threads, 1 (as it begins) to TW_MOST_THREADS; the bytes are the same. For programs that render one picture
 * at a time: several pictures at once, each in a thread of yours, use the processor better. The threads begin
 * with the first such picture, sleep between pictures, block signals and end with the effect; a child of
 * fork() has none of them and renders in one thread. Not while the effect renders. */
tw_status tw_effect_set_threads(tw_effect* effect, int threads);

/* Gives an effect back, and ends its threads; null is nothing. */
void tw_effect_free(tw_effect* effect);

/* ---- An edit ---- */

/* Is told how many of the result's pictures are finished, on the thread that renders. Any answer but 0 ends
 * the work with TW_CANCELLED. */
typedef int (*tw_progress)(void* user, int64_t done, int64_t total);

/* Flags of tw_render_edit and tw_render_edit_file; others are refused. */
#define TW_REPLACE 1u /* replace an output that exists; without it that is TW_BAD_OUTPUT */

/* Renders an edit document (UTF-8, the format of NAME.edit.json) to `output`, whose ending says what it
 * becomes. Relative names of clips start in `folder`, null being the working directory. An output appears
 * whole at the end or not at all, and an older one stays until then. `progress` may be null. */
tw_status tw_render_edit(const char* json, const char* folder, const char* output, unsigned flags,
                         tw_progress progress, void* user);

/* The same for a document in a file, from whose folder clips are named. */
tw_status tw_render_edit_file(const char* file, const char* output, unsigned flags, tw_progress progress,
                              void* user);

#ifdef __cplusplus
}
#endif

#endif
