// What every reader of a user's file shares, so that hostile input is handled one way
// everywhere: only regular files open, a byte-order mark never hides a first line, an
// overlong line never leaks its tail as a line of its own, a number never silently leaves
// float or int range, and text the program writes back out is always whole UTF-8.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

namespace kaitoro {

// fopen(path, "rb") for a regular file only. A directory, device or pipe is a file that
// cannot be opened: null with errno set (EISDIR for a directory).
std::FILE* open_regular_file(const char* path);

// Reads one line as fgets(buf, size, f) would, but when the line does not fit, the rest
// of it (through its line feed) is read and dropped: the reader sees the first piece only,
// never the tail as another line. False at end of file.
bool read_line(std::FILE* f, char* buf, std::size_t size);

// `s` past a leading UTF-8 byte-order mark, if there is one.
const char* skip_bom(const char* s);
char* skip_bom(char* s);

// A double that is finite and within float range, narrowed; false otherwise (1e39 would
// become infinity). Values below the smallest float narrow to zero as usual.
bool narrow_to_float(double v, float* out);
// A long long that fits an int.
bool narrow_to_int(long long v, int* out);

// Copies `src` into dst[size] as whole UTF-8 characters: invalid bytes become U+FFFD and a
// character that would not fit is left out entirely, so the copy is valid UTF-8 and never
// ends in half a character. A null or empty source gives "".
void utf8_copy(char* dst, std::size_t size, const char* src);
// Appends `src` with every invalid UTF-8 byte replaced by U+FFFD.
void utf8_append_valid(std::string* out, const char* src);
// Length in bytes of the valid UTF-8 character at s (1..4), or 0 when s does not start one.
int utf8_char_length(const char* s);

}  // namespace kaitoro
