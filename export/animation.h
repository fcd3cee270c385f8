// Animations of the wave: frames drawn by the scene renderer (base map, live wave layer in the
// current colour scale, coast markers, a time and Mw caption) and piped as raw RGB to the
// ffmpeg program, which encodes H.264 MP4 for sharing or a palette GIF for slides.
//
// ffmpeg writes "<path>.partial", renamed over the target only when ffmpeg exits cleanly.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "core/grid.h"
#include "core/solver.h"
#include "render/canvas.h"

namespace kaitoro {

enum class AnimationFormat { Mp4, Gif };

inline constexpr int kAnimationFps = 10;
inline constexpr int kAnimationCaptionPx = 30;

// From the file name's extension (.mp4 or .gif, any case); false for anything else.
bool animation_format_for_path(const std::string& path, AnimationFormat* format);

struct AnimationLayout {
    int scale = 1;              // pixels per cell
    int map_w = 0, map_h = 0;   // the map below the caption band
    int width = 0, height = 0;  // whole frame, both even (H.264 4:2:0 needs that)
};
AnimationLayout animation_layout(const GridData* grid);

// The arguments after "ffmpeg" for raw RGB24 frames on stdin.
std::vector<std::string> animation_ffmpeg_args(AnimationFormat format, int width, int height,
                                               int fps, const std::string& output);

// Draws g_grid / g_sim at model time t_s. `base` is the base map (build_base_map) in display
// orientation; the viewport and marker settings of the window are left as they were.
void render_animation_frame(const AnimationLayout& layout, const std::vector<std::uint32_t>& base,
                            int t_s, Rgb24Canvas* canvas);

class AnimationWriter {
  public:
    AnimationWriter() = default;
    ~AnimationWriter();  // without a successful finish ffmpeg is stopped and its output removed
    AnimationWriter(const AnimationWriter&) = delete;
    AnimationWriter& operator=(const AnimationWriter&) = delete;

    bool open(const std::string& path, const GridData* grid);
    bool is_open() const { return pid_ > 0; }
    // Renders the current state and hands it to the encoder.
    bool add_frame(int t_s);
    bool finish();
    int frames() const { return frames_; }
    const std::string& error() const { return error_; }

  private:
    void abandon();
    bool fail(const std::string& why);

    std::string path_, partial_, log_path_, error_;
    AnimationLayout layout_;
    std::vector<std::uint32_t> base_;
    Rgb24Canvas canvas_;
    pid_t pid_ = -1;
    int fd_ = -1;
    int frames_ = 0;
};

}  // namespace kaitoro
