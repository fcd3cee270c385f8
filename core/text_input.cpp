#include "core/text_input.h"

#include <sys/stat.h>

#include <cerrno>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstring>

namespace kaitoro {

namespace {
constexpr char kReplacement[] = "\xEF\xBF\xBD";  // U+FFFD
}

std::FILE* open_regular_file(const char* path) {
    if (!path) {
        errno = ENOENT;
        return nullptr;
    }
    std::FILE* f = std::fopen(path, "rb");
    if (!f) return nullptr;
    // Checked on the open descriptor, so the answer is about the file actually read.
    struct stat st {};
    if (fstat(fileno(f), &st) != 0 || !S_ISREG(st.st_mode)) {
        const int err = S_ISDIR(st.st_mode) ? EISDIR : EINVAL;
        std::fclose(f);
        errno = err;
        return nullptr;
    }
    return f;
}

bool read_line(std::FILE* f, char* buf, std::size_t size) {
    if (size < 2) return false;
    std::size_t n = 0;
    int c = EOF;
    while (n + 1 < size && (c = std::getc(f)) != EOF) {
        buf[n++] = char(c);
        if (c == '\n') break;
    }
    if (n == 0) return false;
    buf[n] = '\0';
    if (c != '\n' && n + 1 == size)
        while ((c = std::getc(f)) != EOF && c != '\n') {
        }
    return true;
}

const char* skip_bom(const char* s) {
    return s && std::strncmp(s, "\xEF\xBB\xBF", 3) == 0 ? s + 3 : s;
}

char* skip_bom(char* s) {
    return const_cast<char*>(skip_bom(static_cast<const char*>(s)));
}

bool narrow_to_float(double v, float* out) {
    if (!std::isfinite(v) || std::fabs(v) > double(FLT_MAX)) return false;
    *out = float(v);
    return true;
}

bool narrow_to_int(long long v, int* out) {
    if (v < INT_MIN || v > INT_MAX) return false;
    *out = int(v);
    return true;
}

int utf8_char_length(const char* s) {
    const auto* u = reinterpret_cast<const unsigned char*>(s);
    const unsigned char c = u[0];
    if (c < 0x80) return c ? 1 : 0;
    int len;
    unsigned char lo = 0x80, hi = 0xBF;  // allowed range of the second byte
    if (c >= 0xC2 && c <= 0xDF) {
        len = 2;
    } else if (c >= 0xE0 && c <= 0xEF) {
        len = 3;
        if (c == 0xE0) lo = 0xA0;  // no overlong forms
        if (c == 0xED) hi = 0x9F;  // no surrogates
    } else if (c >= 0xF0 && c <= 0xF4) {
        len = 4;
        if (c == 0xF0) lo = 0x90;
        if (c == 0xF4) hi = 0x8F;  // nothing above U+10FFFF
    } else {
        return 0;
    }
    if (u[1] < lo || u[1] > hi) return 0;
    for (int k = 2; k < len; ++k)
        if (u[k] < 0x80 || u[k] > 0xBF) return 0;
    return len;
}

void utf8_copy(char* dst, std::size_t size, const char* src) {
    if (size == 0) return;
    std::size_t n = 0;
    for (const char* p = src ? src : ""; *p;) {
        const int len = utf8_char_length(p);
        const char* piece = len ? p : kReplacement;
        const std::size_t piece_len = len ? std::size_t(len) : 3;
        if (n + piece_len + 1 > size) break;
        std::memcpy(dst + n, piece, piece_len);
        n += piece_len;
        p += len ? len : 1;
    }
    dst[n] = '\0';
}

void utf8_append_valid(std::string* out, const char* src) {
    for (const char* p = src ? src : ""; *p;) {
        const int len = utf8_char_length(p);
        if (len) {
            out->append(p, std::size_t(len));
            p += len;
        } else {
            out->append(kReplacement);
            ++p;
        }
    }
}

}  // namespace kaitoro
