/* The host records as a C program writes them down: the same fields in the same order, natural layout.
 * ForeignRecords.cpp holds them against the plug-in's own header when it is compiled.
 * No service is declared here but the three that a host needs to make and free its pictures. */
#ifndef TUMBLEWASH_TESTS_FOREIGN_RECORDS_H
#define TUMBLEWASH_TESTS_FOREIGN_RECORDS_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef uint8_t foreign_result;
struct foreign_rect {
    int16_t top, left, bottom, right;
};
struct foreign_colour {
    uint16_t red, green, blue;
};
struct foreign_get_info {
    uint8_t type, title_type;
    uint32_t flags;
    int32_t frames, take_before, take_after, min_speed, max_speed;
    uint8_t must_take_single;
    int32_t best_thumb;
    struct foreign_colour colour;
    uint8_t direction, justify;
    int16_t font, font_size;
};
struct foreign_slider {
    char label[128], min_label[128], max_label[128];
    float value;
};
struct foreign_get_info2 {
    char group[128];
    struct foreign_slider sliders[3];
    int32_t fade_in, fade_out, min_hang, max_hang;
    float font_scale;
    int32_t selected, speed, hang, memory;
};
struct foreign_get_info3 {
    float default_x, default_y, user_x, user_y;
    struct {
        int32_t type_count;
        uint32_t** types;
        uint16_t chosen[35];
    } file;
    char button[32];
};
struct foreign_transition {
    float speed;
    uint8_t direction;
};
struct foreign_clip {
    int16_t volume;
    uint8_t fade_in, fade_out, name[256], backwards;
    int16_t frame_speed;
    int32_t fade_in_frames, fade_out_frames, clip_frame;
    uint32_t ref[55];
};
struct foreign_procs {
    void* (*new_ptr)(int32_t);
    void* (*new_ptr_clear)(int32_t);
    foreign_result (*dispose_ptr)(void*);
    void* c_and_pascal[2];
    foreign_result (*pstrcpy)(unsigned char*, const unsigned char*);
    void* c_strings[2];
    foreign_result (*get_string)(unsigned char*, int16_t, int16_t);
    foreign_result (*get_frame)(void*, int32_t, void**, int16_t, int16_t, uint8_t, int16_t*, void**);
    foreign_result (*release_frame)(void*, void*);
    void* sound_and_movie[3];
    foreign_result (*get_clip)(void*, int16_t, struct foreign_clip*);
    foreign_result (*set_clip)(void*, const struct foreign_clip*);
    foreign_result (*blit)(const void*, const void*, const struct foreign_rect*, const struct foreign_rect*,
                           int16_t);
    void* drawing_and_titles[5];
    foreign_result (*get_transition)(void*, struct foreign_transition**);
    foreign_result (*release_transition)(void*, struct foreign_transition*);
    foreign_result (*mix_audio)(void*, void*, int16_t);
    void* filters_and_text[5];
};
struct foreign_params {
    int16_t version;
    void* instance;
    uint8_t selector;
    struct foreign_procs* procs;
    struct foreign_get_info info;
    int32_t start_frame, render_frame, frame_count;
    uint8_t proxy;
    struct foreign_rect frame_rect;
    void* frame;
    void* client_data;
    struct foreign_get_info2 info2;
    struct foreign_get_info3 info3;
    struct foreign_slider info4;
};

/* The platform's pictures: `pixels` are width * height * 4 bytes and stay the caller's. */
void* foreign_new_world(void* pixels, int width, int height);
void foreign_dispose_world(void* world);
foreign_result foreign_blend(const void* source, const void* destination, const struct foreign_rect* from,
                             const struct foreign_rect* to, int16_t level);
/* Bytes of the heap in use, by the allocator's own books. */
size_t foreign_heap_in_use(void);

/* Waits until the threads that were not there at the start have ended, a minute at most: the text library's
 * threads are told to end when the module is unloaded, and end a little later. 0 when one is left. With
 * `fill`, as many threads as matter run at once before: the C library keeps the tables of ended threads up to
 * a limit, which is reached then, so that what it keeps no longer depends on how many happened to run
 * together. */
int foreign_heap_settle(int fill);

#ifdef __cplusplus
}
#endif

#endif
