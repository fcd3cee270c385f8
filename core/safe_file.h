// Files the program writes appear whole or not at all: the bytes go to "<path>.partial",
// which replaces the target only when every write and the close succeeded. A crash, a full
// disk or a reader polling the folder never sees half a table or image. A target that exists
// but is not a regular file (a device, a pipe) is written directly: it cannot be replaced.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

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
    bool done_ = false;
};

// Every file the program set out to write and did not (a SafeFile that never committed, an
// outbox append that failed), in order, so a front end can name each one instead of
// reporting success. The list only grows until cleared.
const std::vector<std::string>& write_failures();
void note_write_failure(const std::string& path);
void clear_write_failures();
// One warning box naming the files that failed since `mark` (an earlier size of the list);
// nothing when none did. The desktop's status texts stay as they are; this is the extra word.
void warn_write_failures_since(std::size_t mark);

}  // namespace kaitoro
