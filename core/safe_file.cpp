#include "core/safe_file.h"

#include <sys/stat.h>

#include <algorithm>

#include "core/platform.h"

namespace kaitoro {

namespace {
std::vector<std::string> g_write_failures;
}

const std::vector<std::string>& write_failures() { return g_write_failures; }

void note_write_failure(const std::string& path) {
    if (std::find(g_write_failures.begin(), g_write_failures.end(), path) ==
        g_write_failures.end())
        g_write_failures.push_back(path);
}

void clear_write_failures() { g_write_failures.clear(); }

void warn_write_failures_since(std::size_t mark) {
    if (mark >= g_write_failures.size()) return;
    std::string text = "Could not write:";
    for (std::size_t k = mark; k < g_write_failures.size(); ++k) text += "\n" + g_write_failures[k];
    platform().message_box("Kaitoro", text, MessageIcon::Warning, MessageButtons::Ok);
}

SafeFile::SafeFile(const char* path) : path_(path), partial_(std::string(path) + ".partial") {
    struct stat st;
    direct_ = ::stat(path, &st) == 0 && !S_ISREG(st.st_mode);
    file_ = std::fopen(direct_ ? path : partial_.c_str(), "wb");
    if (!file_) {
        done_ = true;
        note_write_failure(path_);
    }
}

SafeFile::~SafeFile() {
    if (!done_) note_write_failure(path_);  // given up before its commit: nothing was written
    if (!file_) return;
    std::fclose(file_);
    if (!direct_) std::remove(partial_.c_str());
}

bool SafeFile::commit() {
    if (!file_) return false;
    done_ = true;
    const bool written = std::fflush(file_) == 0 && !std::ferror(file_);
    const bool closed = std::fclose(file_) == 0;
    file_ = nullptr;
    if (direct_) {
        if (!(written && closed)) note_write_failure(path_);
        return written && closed;
    }
    if (written && closed && std::rename(partial_.c_str(), path_.c_str()) == 0) return true;
    std::remove(partial_.c_str());
    note_write_failure(path_);
    return false;
}

}  // namespace kaitoro
