#include "core/safe_file.h"

#include <sys/stat.h>

namespace kaitoro {

SafeFile::SafeFile(const char* path) : path_(path), partial_(std::string(path) + ".partial") {
    struct stat st;
    direct_ = ::stat(path, &st) == 0 && !S_ISREG(st.st_mode);
    file_ = std::fopen(direct_ ? path : partial_.c_str(), "wb");
}

SafeFile::~SafeFile() {
    if (!file_) return;
    std::fclose(file_);
    if (!direct_) std::remove(partial_.c_str());
}

bool SafeFile::commit() {
    if (!file_) return false;
    const bool written = std::fflush(file_) == 0 && !std::ferror(file_);
    const bool closed = std::fclose(file_) == 0;
    file_ = nullptr;
    if (direct_) return written && closed;
    if (written && closed && std::rename(partial_.c_str(), path_.c_str()) == 0) return true;
    std::remove(partial_.c_str());
    return false;
}

}  // namespace kaitoro
