#include "tests/adapters/ObsHost.h"

#include <dlfcn.h>
#include <obs-nix-platform.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string_view>

extern char** environ;

namespace tumblewash::test {

namespace {

std::mutex logMutex;
std::string logged;

void keepLog(int level, const char* format, va_list words, void*) {
    // A machine that is short of time makes libobs and transitions say so; that is no failure.
    if (level > LOG_WARNING) return;
    std::array<char, 1024> line{};
    std::vsnprintf(line.data(), line.size(), format, words);
    const std::string_view said = line.data();
    const bool failure = said.find("failed") != said.npos || said.find("[tumblewash]") != said.npos;
    if (!failure || said.find("not ready in time") != said.npos) return;
    const std::lock_guard lock(logMutex);
    logged += std::string(said) + "\n";
}

// An X server that chooses its number itself and tells it.
pid_t startServer() {
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) throw std::runtime_error("no pipe");
    std::array<char, 16> fd{};
    std::snprintf(fd.data(), fd.size(), "%d", ends[1]);
    const std::array<const char*, 9> words{TUMBLEWASH_XVFB, "-displayfd", fd.data(), "-screen", "0",
                                           "64x64x24",      "-nolisten",  "tcp",     nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addclose(&actions, ends[0]);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", 1, 0);
    pid_t server = 0;
    const int result = posix_spawn(&server, TUMBLEWASH_XVFB, &actions, nullptr,
                                   const_cast<char* const*>(words.data()), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    std::string number;
    char c = 0;
    while (result == 0 && read(ends[0], &c, 1) == 1 && c != '\n') number += c;
    close(ends[0]);
    if (result != 0 || number.empty()) throw std::runtime_error("Xvfb did not start");
    setenv("DISPLAY", (":" + number).c_str(), 1);
    return server;
}

struct PictureSource {
    gs_texture_t* texture = nullptr;
};
const Bytes* nextPicture = nullptr;

void registerPictures() {
    obs_source_info info = {};
    info.id = "test_picture";
    info.type = OBS_SOURCE_TYPE_INPUT;
    info.output_flags = OBS_SOURCE_VIDEO | OBS_SOURCE_CUSTOM_DRAW;
    info.get_name = [](void*) { return "picture"; };
    info.create = [](obs_data_t*, obs_source_t*) -> void* {
        auto made = std::make_unique<PictureSource>();
        const std::uint8_t* rows = nextPicture->data();
        obs_enter_graphics();
        made->texture = gs_texture_create(kObsWidth, kObsHeight, GS_RGBA, 1, &rows, 0);
        obs_leave_graphics();
        return made.release();
    };
    info.destroy = [](void* data) {
        auto* source = static_cast<PictureSource*>(data);
        obs_enter_graphics();
        gs_texture_destroy(source->texture);
        obs_leave_graphics();
        delete source;
    };
    info.get_width = [](void*) { return static_cast<std::uint32_t>(kObsWidth); };
    info.get_height = [](void*) { return static_cast<std::uint32_t>(kObsHeight); };
    info.video_render = [](void* data, gs_effect_t*) {
        gs_texture_t* texture = static_cast<PictureSource*>(data)->texture;
        gs_effect_t* effect = obs_get_base_effect(OBS_EFFECT_DEFAULT);
        gs_blend_state_push();
        gs_blend_function(GS_BLEND_ONE, GS_BLEND_ZERO);
        gs_effect_set_texture(gs_effect_get_param_by_name(effect, "image"), texture);
        while (gs_effect_loop(effect, "Draw")) gs_draw_sprite(texture, 0, 0, 0);
        gs_blend_state_pop();
    };
    obs_register_source(&info);
}

}  // namespace

ObsHost::ObsHost() {
    setenv("LIBGL_ALWAYS_SOFTWARE", "1", 1);
    server_ = startServer();
    void* x11 = dlopen("libX11.so.6", RTLD_NOW);
    auto* open =
        reinterpret_cast<void* (*)(const char*)>(x11 != nullptr ? dlsym(x11, "XOpenDisplay") : nullptr);
    if (open != nullptr) display_ = open(nullptr);
    if (display_ == nullptr) throw std::runtime_error("no X display");
    base_set_log_handler(keepLog, nullptr);
    obs_set_nix_platform(OBS_NIX_PLATFORM_X11_EGL);
    obs_set_nix_platform_display(display_);
    if (!obs_startup("en-US", nullptr, nullptr)) throw std::runtime_error("libobs did not start");
    obs_video_info video = {};
    video.graphics_module = "libobs-opengl";
    video.fps_num = 500;  // libobs draws scenes anew this often
    video.fps_den = 1;
    video.base_width = video.output_width = kObsWidth;
    video.base_height = video.output_height = kObsHeight;
    video.output_format = VIDEO_FORMAT_RGBA;
    video.colorspace = VIDEO_CS_SRGB;
    video.range = VIDEO_RANGE_FULL;
    if (obs_reset_video(&video) != OBS_VIDEO_SUCCESS)
        throw std::runtime_error("libobs has no graphics:\n" + complaints());
    const obs_audio_info audio{48000, SPEAKERS_STEREO};
    if (!obs_reset_audio(&audio)) throw std::runtime_error("libobs has no sound");
    registerPictures();
    obs_module_t* module = nullptr;
    if (obs_open_module(&module, TUMBLEWASH_OBS_MODULE, nullptr) != MODULE_SUCCESS ||
        !obs_init_module(module))
        throw std::runtime_error("the module does not load:\n" + complaints());
    obs_enter_graphics();
    target_ = gs_texrender_create(GS_RGBA, GS_ZS_NONE);
    stage_ = gs_stagesurface_create(kObsWidth, kObsHeight, GS_RGBA);
    obs_leave_graphics();
}

ObsHost::~ObsHost() {
    obs_enter_graphics();
    gs_texrender_destroy(target_);
    gs_stagesurface_destroy(stage_);
    obs_leave_graphics();
    obs_shutdown();
    kill(server_, SIGTERM);
    waitpid(server_, nullptr, 0);
}

obs_source_t* ObsHost::picture(const Bytes& rgba) {
    nextPicture = &rgba;
    obs_source_t* source = obs_source_create_private("test_picture", "picture", nullptr);
    if (source == nullptr) throw std::runtime_error("no picture source");
    return source;
}

Bytes ObsHost::shown(obs_source_t* source) {
    Bytes pixels(std::size_t{4} * kObsWidth * kObsHeight, 0xA5);
    obs_enter_graphics();
    gs_texrender_reset(target_);
    if (gs_texrender_begin(target_, kObsWidth, kObsHeight)) {
        const vec4 nothing = {};
        gs_clear(GS_CLEAR_COLOR, &nothing, 0, 0);
        gs_ortho(0, kObsWidth, 0, kObsHeight, -100, 100);
        obs_source_video_render(source);
        gs_texrender_end(target_);
    }
    gs_stage_texture(stage_, gs_texrender_get_texture(target_));
    std::uint8_t* rows = nullptr;
    std::uint32_t stride = 0;
    if (gs_stagesurface_map(stage_, &rows, &stride)) {
        for (std::size_t y = 0; y < kObsHeight; ++y)
            std::memcpy(pixels.data() + y * kObsWidth * 4, rows + y * stride, std::size_t{kObsWidth} * 4);
        gs_stagesurface_unmap(stage_);
    }
    obs_leave_graphics();
    return pixels;
}

std::string ObsHost::complaints() const {
    const std::lock_guard lock(logMutex);
    return logged;
}

}  // namespace tumblewash::test
