#include "export/animation.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "core/driver.h"
#include "render/canvas_surface.h"
#include "render/scene.h"
#include "render/viewport.h"
#include "source_design/fault_table.h"
#include "source_design/source_cell.h"

namespace kaitoro {

namespace {

constexpr std::uint32_t kCaptionBackground = 0x121216;
constexpr std::uint32_t kCaptionText = 0xEBEBEB;
constexpr int kMinFrameWidth = 480;

std::string lower(std::string s) {
    for (char& c : s) c = char(std::tolower((unsigned char)c));
    return s;
}

// Everything the frame borrows from the window's display state, put back on scope exit.
struct ViewportGuard {
    double zoom = g_view_zoom, pan_x = g_view_pan_x, pan_y = g_view_pan_y;
    int x = g_view_x, y = g_view_y, w = g_view_w, h = g_view_h;
    int markers = g_show_coast_height_markers;
    ~ViewportGuard() {
        g_view_zoom = zoom;
        g_view_pan_x = pan_x;
        g_view_pan_y = pan_y;
        g_view_x = x;
        g_view_y = y;
        g_view_w = w;
        g_view_h = h;
        g_show_coast_height_markers = markers;
    }
};

// Writes all of a buffer to a pipe; false when the reader went away.
bool write_all(int fd, const std::uint8_t* data, std::size_t size) {
    while (size > 0) {
        const ssize_t n = ::write(fd, data, size);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        data += n;
        size -= std::size_t(n);
    }
    return true;
}

}  // namespace

bool animation_format_for_path(const std::string& path, AnimationFormat* format) {
    const std::string p = lower(path);
    auto ends = [&](const char* ext) {
        const std::size_t n = std::strlen(ext);
        return p.size() > n && p.compare(p.size() - n, n, ext) == 0;
    };
    if (ends(".mp4"))
        *format = AnimationFormat::Mp4;
    else if (ends(".gif"))
        *format = AnimationFormat::Gif;
    else
        return false;
    return true;
}

AnimationLayout animation_layout(const GridData* grid) {
    AnimationLayout l;
    const int nx = std::max(1, int(grid->nx)), ny = std::max(1, int(grid->ny));
    l.scale = std::max(1, (kMinFrameWidth + nx - 1) / nx);
    l.map_w = nx * l.scale;
    l.map_h = ny * l.scale;
    l.width = (l.map_w + 1) / 2 * 2;
    l.height = (l.map_h + kAnimationCaptionPx + 1) / 2 * 2;
    return l;
}

std::vector<std::string> animation_ffmpeg_args(AnimationFormat format, int width, int height,
                                               int fps, const std::string& output) {
    std::vector<std::string> a = {"-hide_banner",
                                  "-loglevel",
                                  "error",
                                  "-nostdin",
                                  "-y",
                                  "-f",
                                  "rawvideo",
                                  "-pixel_format",
                                  "rgb24",
                                  "-video_size",
                                  std::to_string(width) + "x" + std::to_string(height),
                                  "-framerate",
                                  std::to_string(fps),
                                  "-i",
                                  "pipe:0"};
    if (format == AnimationFormat::Mp4) {
        for (const char* s : {"-c:v", "libx264", "-preset", "fast", "-crf", "20", "-pix_fmt",
                              "yuv420p", "-movflags", "+faststart", "-f", "mp4"})
            a.push_back(s);
    } else {
        // One pass: the palette is computed from all frames, then applied to each.
        for (const char* s : {"-filter_complex", "split[a][b];[a]palettegen[p];[b][p]paletteuse",
                              "-loop", "0", "-f", "gif"})
            a.push_back(s);
    }
    a.push_back(output);
    return a;
}

void render_animation_frame(const AnimationLayout& layout, const std::vector<std::uint32_t>& base,
                            int t_s, Rgb24Canvas* canvas) {
    const std::size_t cells = g_grid.cell_count();
    std::vector<std::uint32_t> frame(cells);
    if (base.size() == cells && cells > 0)
        build_frame(&g_grid, &g_sim, base.data(), g_display_flip_x, g_display_flip_y,
                    g_invert_landsea_display, 0, 0, 1.0f, frame.data());
    CanvasSurface surface(canvas);
    surface.fill_rect(0, 0, canvas->width, canvas->height, kCaptionBackground);
    {
        ViewportGuard guard;
        g_view_zoom = 1.0;
        g_view_pan_x = g_view_pan_y = 0.0;
        compute_viewport(layout.map_w + kInfoPanelWidthPx, layout.map_h);
        g_view_y += kAnimationCaptionPx;
        surface.blit_scaled(frame.data(), int(g_grid.nx), int(g_grid.ny), g_view_x, g_view_y,
                            g_view_w, g_view_h);
        g_show_coast_height_markers = 1;
        draw_coast_height_markers(&surface);
    }
    char caption[160];
    bool standard = false;
    const double mw = displayed_source_mw(&standard);
    std::snprintf(caption, sizeof caption, "Kaitoro   t = %d:%02d (%d min)   %sMw %.2f", t_s / 3600,
                  t_s / 60 % 60, t_s / 60, standard ? "standard " : "", mw);
    rgb24_draw_text(canvas, 8, 5, caption, 18, 0, kCaptionText);
}

AnimationWriter::~AnimationWriter() {
    abandon();
}

bool AnimationWriter::fail(const std::string& why) {
    if (error_.empty()) error_ = "could not write animation " + path_ + ": " + why;
    abandon();
    return false;
}

void AnimationWriter::abandon() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
    if (pid_ > 0) {
        ::kill(pid_, SIGTERM);
        int status = 0;
        while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
        }
        pid_ = -1;
        std::remove(partial_.c_str());
    }
    if (!log_path_.empty()) std::remove(log_path_.c_str());
    log_path_.clear();
}

bool AnimationWriter::open(const std::string& path, const GridData* grid) {
    abandon();
    error_.clear();
    path_ = path;
    partial_ = path + ".partial";
    frames_ = 0;
    AnimationFormat format;
    if (!animation_format_for_path(path, &format)) return fail("the name must end in .mp4 or .gif");
    if (grid->cell_count() == 0) return fail("no grid");
    layout_ = animation_layout(grid);
    base_.assign(grid->cell_count(), 0);
    build_base_map(grid, g_display_flip_x, g_display_flip_y, g_show_bathymetry,
                   g_invert_landsea_display, base_.data());
    if (!rgb24_canvas_create(&canvas_, layout_.width, layout_.height)) return fail("out of memory");

    char log_template[] = "/tmp/kaitoro-ffmpeg-XXXXXX";
    const int log_fd = ::mkstemp(log_template);
    if (log_fd < 0) return fail(std::strerror(errno));
    log_path_ = log_template;
    int pipe_fd[2];
    if (::pipe2(pipe_fd, O_CLOEXEC) != 0) {
        ::close(log_fd);
        return fail(std::strerror(errno));
    }
    const std::vector<std::string> args =
        animation_ffmpeg_args(format, layout_.width, layout_.height, kAnimationFps, partial_);
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>("ffmpeg"));
    for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::dup2(pipe_fd[0], 0);
        const int devnull = ::open("/dev/null", O_WRONLY);
        if (devnull >= 0) ::dup2(devnull, 1);
        ::dup2(log_fd, 2);
        ::execvp("ffmpeg", argv.data());
        const char msg[] = "ffmpeg: program not found\n";
        (void)!::write(2, msg, sizeof msg - 1);
        ::_exit(127);
    }
    ::close(pipe_fd[0]);
    ::close(log_fd);
    if (pid < 0) {
        ::close(pipe_fd[1]);
        return fail(std::strerror(errno));
    }
    pid_ = pid;
    fd_ = pipe_fd[1];
    return true;
}

bool AnimationWriter::add_frame(int t_s) {
    if (fd_ < 0) return false;
    render_animation_frame(layout_, base_, t_s, &canvas_);
    // A dead encoder must not kill the program with SIGPIPE: ignore it while writing.
    struct sigaction ignore {
    }, old{};
    ignore.sa_handler = SIG_IGN;
    ::sigaction(SIGPIPE, &ignore, &old);
    const bool ok = write_all(fd_, canvas_.pixels.data(), canvas_.pixels.size());
    ::sigaction(SIGPIPE, &old, nullptr);
    if (!ok) return finish(), fail("the encoder stopped");
    ++frames_;
    return true;
}

bool AnimationWriter::finish() {
    if (pid_ <= 0) return error_.empty() ? fail("not open") : false;
    ::close(fd_);
    fd_ = -1;
    int status = 0;
    while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    pid_ = -1;
    std::string log;
    {
        std::ifstream in(log_path_);
        std::stringstream ss;
        ss << in.rdbuf();
        log = ss.str();
    }
    std::remove(log_path_.c_str());
    log_path_.clear();
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        std::remove(partial_.c_str());
        while (!log.empty() && (log.back() == '\n' || log.back() == '\r')) log.pop_back();
        const std::size_t nl = log.rfind('\n');
        const std::string last = nl == std::string::npos ? log : log.substr(nl + 1);
        error_ = "could not write animation " + path_ + ": ffmpeg failed" +
                 (last.empty() ? std::string() : ": " + last);
        return false;
    }
    std::error_code ec;
    std::filesystem::rename(partial_, path_, ec);
    if (ec) {
        std::remove(partial_.c_str());
        error_ = "could not write animation " + path_ + ": " + ec.message();
        return false;
    }
    return true;
}

}  // namespace kaitoro
