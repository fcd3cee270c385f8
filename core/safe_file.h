// Files the program writes appear whole or not at all: the bytes go to "<path>.partial",
// which replaces the target only when every write and the close succeeded. A crash, a full
// disk or a reader polling the folder never sees half a table or image. A target that exists
// but is not a regular file (a device, a pipe) is written directly: it cannot be replaced.
#pragma once

#include <cstdio>
#include <string>

namespace kaitoro {

class SafeFile {
public:
    explicit SafeFile(const char* path);
    ~SafeFile();  // without a successful commit the partial file is removed
    SafeFile(const SafeFile&) = delete;
    SafeFile& operator=(const SafeFile&) = delete;

    std::FILE* get() const { return file_; }
    explicit operator bool() const { return file_ != nullptr; }
    // Closes the file and moves it over the target; false when anything failed, in which
    // case the target is untouched.
    bool commit();

private:
    std::string path_, partial_;
    std::FILE* file_ = nullptr;
    bool direct_ = false;
};

}  // namespace kaitoro
