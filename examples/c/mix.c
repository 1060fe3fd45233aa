/* Mixes two drawn pictures with an effect and writes the result as a PPM:  mix EFFECT POSITION OUT.ppm */
#include <stdio.h>
#include <stdlib.h>
#include <tumblewash.h>

enum { WIDTH = 320, HEIGHT = 240 };

static void draw(uint8_t* pixels, int second) {
    int x, y;
    for (y = 0; y < HEIGHT; ++y)
        for (x = 0; x < WIDTH; ++x) {
            uint8_t* p = pixels + (y * WIDTH + x) * 3;
            p[0] = (uint8_t)(second ? 255 - x * 255 / WIDTH : x * 255 / WIDTH);
            p[1] = (uint8_t)(second ? 40 : y * 255 / HEIGHT);
            p[2] = (uint8_t)((x / 16 + y / 16) % 2 ? 200 : 60);
        }
}

int main(int argc, char** argv) {
    static uint8_t first[WIDTH * HEIGHT * 3], second[WIDTH * HEIGHT * 3], mixed[WIDTH * HEIGHT * 3];
    const ptrdiff_t stride = WIDTH * 3;
    const tw_picture a = {first, stride, WIDTH, HEIGHT, TW_RGB, TW_OPAQUE};
    const tw_picture b = {second, stride, WIDTH, HEIGHT, TW_RGB, TW_OPAQUE};
    const tw_target out = {mixed, stride, WIDTH, HEIGHT, TW_RGB, TW_OPAQUE};
    tw_knobs knobs = TW_KNOBS_INIT;
    FILE* file;
    if (argc != 4) {
        tw_effect_info info;
        int i;
        fprintf(stderr, "usage: mix EFFECT POSITION OUT.ppm\n");
        for (i = 0; tw_effect_at(i, &info) == TW_OK; ++i) fprintf(stderr, "  %-14s %s\n", info.id, info.sentence);
        return 2;
    }
    draw(first, 0);
    draw(second, 1);
    knobs.direction = TW_LEFT;
    knobs.seed = 7;
    if (tw_render(argv[1], atof(argv[2]), &a, &b, &knobs, &out) != TW_OK) {
        fprintf(stderr, "mix: %s\n", tw_last_error());
        return 1;
    }
    file = fopen(argv[3], "wb");
    if (file == NULL) {
        perror(argv[3]);
        return 1;
    }
    fprintf(file, "P6\n%d %d\n255\n", WIDTH, HEIGHT);
    fwrite(mixed, 1, sizeof mixed, file);
    if (fclose(file) != 0) {
        perror(argv[3]);
        return 1;
    }
    return 0;
}
