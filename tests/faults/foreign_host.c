/* A foreign host: loads the plug-in module, runs every variant from get-info to terminate, unloads it, again
 * and again, and looks at what is left. It knows the host records and nothing of the plug-in's code. */
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "tests/faults/foreign_records.h"

enum { WIDTH = 40, HEIGHT = 32, FRAMES = 4, BYTES = WIDTH * HEIGHT * 4, EFFECTS = 14 };
enum { GET_INFO = 1, INITIALISE = 2, PLACEHOLDER = 5, DO_FRAME = 6, TERMINATE = 8 };
enum { OK = 0, OUT_OF_MEMORY = 4, UNIMPLEMENTED = 8 };

typedef int (*entry_function)(short which, struct foreign_params* params);

static unsigned char source_pixels[2][BYTES], destination_pixels[BYTES];
static void* source_worlds[2];
static int worlds_lent, blocks_out, records_lent, failures;
static struct foreign_transition transition = {0.5f, 3};

static void expect(int holds, const char* what, int effect) {
    if (holds) return;
    fprintf(stderr, "foreign_host: %s, effect %d\n", what, effect);
    ++failures;
}

static void* new_ptr_clear(int32_t size) {
    ++blocks_out;
    return calloc(1, (size_t)size);
}
static foreign_result dispose_ptr(void* block) {
    --blocks_out;
    free(block);
    return OK;
}
static foreign_result copy_pascal(unsigned char* to, const unsigned char* from) {
    memcpy(to, from, from[0] + 1u);
    return OK;
}
static foreign_result get_string(unsigned char* to, int16_t list, int16_t index) {
    (void)list, (void)index;
    to[0] = 0;
    return OK;
}
static foreign_result get_frame(void* instance, int32_t frame, void** world, int16_t width, int16_t height,
                                uint8_t quality, int16_t* volume, void** cookie) {
    (void)instance, (void)quality;
    if (width != WIDTH || height != HEIGHT || worlds_lent == 2) return OUT_OF_MEMORY;
    unsigned char* pixels = source_pixels[worlds_lent];
    for (int i = 0; i < BYTES; ++i)
        pixels[i] = (unsigned char)(i % 4 == 0 ? 255 : i / 3 + i / (WIDTH * 4) * 9 + frame * 17);
    *world = source_worlds[worlds_lent++];
    *cookie = *world;
    *volume = 255;
    return OK;
}
static foreign_result release_frame(void* instance, void* cookie) {
    (void)instance, (void)cookie;
    --worlds_lent;
    return OK;
}
static foreign_result get_clip(void* instance, int16_t clip, struct foreign_clip* info) {
    (void)instance, (void)clip;
    memset(info, 0, sizeof *info);
    return OK;
}
static foreign_result set_clip(void* instance, const struct foreign_clip* info) {
    (void)instance, (void)info;
    return OK;
}
static foreign_result get_transition(void* instance, struct foreign_transition** info) {
    (void)instance;
    *info = &transition;
    ++records_lent;
    return OK;
}
static foreign_result release_transition(void* instance, struct foreign_transition* info) {
    (void)instance, (void)info;
    --records_lent;
    return OK;
}
static foreign_result blit(const void* source, const void* destination, const struct foreign_rect* from,
                           const struct foreign_rect* to, int16_t level) {
    return foreign_blend(source, destination, from, to, level);
}
static foreign_result mix_audio(void* instance, void* cookie, int16_t level) {
    (void)instance, (void)cookie, (void)level;
    return OK;
}

static struct foreign_procs procs = {.new_ptr_clear = new_ptr_clear,
                                     .dispose_ptr = dispose_ptr,
                                     .pstrcpy = copy_pascal,
                                     .get_string = get_string,
                                     .get_frame = get_frame,
                                     .release_frame = release_frame,
                                     .get_clip = get_clip,
                                     .set_clip = set_clip,
                                     .blit = blit,
                                     .get_transition = get_transition,
                                     .release_transition = release_transition,
                                     .mix_audio = mix_audio};

static uint64_t hash_of(uint64_t hash) {
    for (int i = 0; i < BYTES; ++i) hash = (hash ^ destination_pixels[i]) * 1099511628211u;
    return hash;
}

static int request(entry_function entry, int effect, struct foreign_params* params, int selector) {
    params->selector = (uint8_t)selector;
    return entry((short)effect, params);
}

static uint64_t run_effect(entry_function entry, int effect, void* destination, uint64_t hash) {
    static struct foreign_params params;
    memset(&params, 0, sizeof params);
    params.version = 4;
    params.procs = &procs;
    params.start_frame = 10;
    params.frame_count = FRAMES;
    params.frame_rect = (struct foreign_rect){0, 0, HEIGHT, WIDTH};
    params.frame = destination;
    expect(request(entry, effect, &params, GET_INFO) == OK, "get-info failed", effect);
    expect(params.info.must_take_single == 1 && params.info.max_speed == 120, "get-info is wrong", effect);
    expect(request(entry, effect, &params, INITIALISE) == OK, "initialise failed", effect);
    for (params.render_frame = 0; params.render_frame < FRAMES; ++params.render_frame) {
        expect(request(entry, effect, &params, DO_FRAME) == OK, "a frame failed", effect);
        expect(worlds_lent == 0 && records_lent == 0, "something was left lent", effect);
        hash = hash_of(hash);
    }
    expect(request(entry, effect, &params, PLACEHOLDER) == OK, "the placeholder failed", effect);
    expect(request(entry, effect, &params, TERMINATE) == OK, "terminate failed", effect);
    expect(params.client_data == NULL && blocks_out == 0, "the state was not freed", effect);
    return hash;
}

/* Loads, runs everything, unloads. */
static uint64_t one_life(const char* module, void* destination) {
    void* library = dlopen(module, RTLD_NOW | RTLD_LOCAL);
    if (library == NULL) {
        fprintf(stderr, "foreign_host: %s\n", dlerror());
        exit(1);
    }
    entry_function entry;
    *(void**)&entry = dlsym(library, "main");
    uint64_t hash = 1469598103934665603u;
    srand(7);
    for (int effect = 0; effect < EFFECTS; ++effect) hash = run_effect(entry, effect, destination, hash);
    expect(dlclose(library) == 0, "the module cannot be unloaded", -1);
    return hash;
}

enum { WARM_UP = 20, WINDOWS = 10 };

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    const char* wish = getenv("TUMBLEWASH_LONG");
    const int lives = wish != NULL && strcmp(wish, "1") == 0 ? 1000 : 100;
    for (int i = 0; i < 2; ++i) source_worlds[i] = foreign_new_world(source_pixels[i], WIDTH, HEIGHT);
    void* destination = foreign_new_world(destination_pixels, WIDTH, HEIGHT);
    /* The first lives bring in what stays for good: shared libraries of others, their fonts and caches. Those
     * also hold a little more or less from one moment to the next, so the least of a tenth of all lives is
     * looked at. */
    uint64_t first = 0;
    size_t least[WINDOWS];
    for (int i = 0; i < WINDOWS; ++i) least[i] = SIZE_MAX;
    for (int i = -WARM_UP; i < lives && failures == 0; ++i) {
        memset(destination_pixels, 0, BYTES);
        const uint64_t hash = one_life(argv[1], destination);
        expect(foreign_heap_settle(i == -1), "a thread outlives the module", -1);
        const size_t heap = foreign_heap_in_use();
        if (i == -WARM_UP) first = hash;
        expect(hash == first, "the pictures changed", -1);
        if (i >= 0 && heap < least[i * WINDOWS / lives]) least[i * WINDOWS / lives] = heap;
    }
    /* Lives that keep something raise the heap in every tenth. */
    int rises = 0;
    size_t most = least[0];
    for (int i = 1; i < WINDOWS; ++i) {
        rises += least[i] > most;
        if (least[i] > most) most = least[i];
    }
    printf("%d lives of the module, heap in use at first %zu, at last %zu bytes, risen in %d of %d parts\n",
           lives, least[0], least[WINDOWS - 1], rises, WINDOWS - 1);
    expect(rises < WINDOWS / 3, "the heap grows", -1);
    for (int i = 0; i < 2; ++i) foreign_dispose_world(source_worlds[i]);
    foreign_dispose_world(destination);
    return failures == 0 ? 0 : 1;
}
