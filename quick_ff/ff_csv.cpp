#include "quick_ff/ff_csv.h"

#include <strings.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <optional>
#include <sstream>
#include <vector>

#include "core/text_input.h"
#include "core/platform.h"
#include "core/safe_file.h"
#include "core/sources.h"
#include "core/status.h"
#include "quick_ff/ff_grid.h"
#include "source_design/source_cell.h"

namespace kaitoro {

namespace {

constexpr std::size_t kMaxLineBytes = 4095;
constexpr std::size_t kMaxFields = 256;

std::string format(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
std::string format(const char* fmt, ...) {
    char buf[512];
    va_list ap;
    va_start(ap, fmt);
    std::vsnprintf(buf, sizeof buf, fmt, ap);
    va_end(ap);
    return buf;
}

// ---- reading ---------------------------------------------------------------------------

struct ReadCell {
    int row, col;
    float slip;
    int delay;
    float dip;
};

struct Reader {
    std::vector<ReadCell> cells;
    int requested_rows = 0;  // 0: keep the current count
    int requested_cols = 0;
    int running_row = 0;  // row index of the next unnumbered matrix line
    int matrix_rows = 0;
    int list_rows = 0;
    int line_no = 0;                 // 1-based number of the line being read
    std::vector<std::string> notes;  // how lines the rules leave ambiguous were read

    // Cells at row or column 60 or beyond, and cells past 3600, are dropped silently.
    bool add(int row, int col, double slip, int delay, double dip) {
        if (row < 0 || col < 0 || row >= kQuickFfMaxSize || col >= kQuickFfMaxSize) return false;
        if (cells.size() >= std::size_t(kQuickFfMaxCells)) return false;
        cells.push_back({row, col, float(std::max(slip, 0.0)), std::max(delay, 0),
                         quick_ff_clamp_dip(float(dip))});
        return true;
    }
    bool add_text(int row, int col, const char* text) {
        float slip, dip;
        int delay, enabled;
        if (!quick_ff_parse_cell_text(text, &slip, &delay, &dip, &enabled)) return false;
        return add(row, col, slip, delay, dip);
    }
};

bool is_trim_char(char ch) {
    return ch == '\t' || ch == '\n' || ch == '\r' || ch == ' ' || ch == '"';
}

bool is_letter(char ch) {
    return (ch >= 'A' && ch <= 'Z') || (ch >= 'a' && ch <= 'z');
}
bool is_digit(char ch) {
    return ch >= '0' && ch <= '9';
}
bool is_name_separator(char ch) {
    return ch == '\t' || ch == ' ' || ch == ',' || ch == ':' || ch == ';';
}

bool equals_nocase(const std::string& a, const char* b) {
    if (a.size() != std::strlen(b)) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (std::tolower((unsigned char)a[i]) != std::tolower((unsigned char)b[i])) return false;
    return true;
}

// Splits at commas outside double quotes; "" inside quotes is one quote; the quotes go.
std::vector<std::string> split_fields(const std::string& line) {
    std::vector<std::string> fields;
    std::string cur;
    bool quoted = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char ch = line[i];
        if (quoted) {
            if (ch == '"' && i + 1 < line.size() && line[i + 1] == '"') {
                cur += '"';
                ++i;
            } else if (ch == '"') {
                quoted = false;
            } else {
                cur += ch;
            }
        } else if (ch == '"') {
            quoted = true;
        } else if (ch == ',') {
            fields.push_back(cur);
            cur.clear();
            if (fields.size() == kMaxFields) return fields;
        } else {
            cur += ch;
        }
    }
    fields.push_back(cur);
    for (std::string& f : fields) {
        std::size_t b = 0, e = f.size();
        while (b < e && is_trim_char(f[b])) ++b;
        while (e > b && is_trim_char(f[e - 1])) --e;
        f = f.substr(b, e - b);
    }
    return fields;
}

// A cell reference at the start of a field: 1-3 letters, then a row number >= 1, then the
// end or a separator. Returns the text after the separators in *rest.
bool parse_cell_ref(const std::string& field, int* row, int* col, std::string* rest) {
    std::size_t i = 0;
    long c = 0;
    while (i < field.size() && is_letter(field[i])) {
        if (i == 3) return false;
        c = c * 26 + (std::toupper((unsigned char)field[i]) - 'A' + 1);
        ++i;
    }
    if (i == 0 || i >= field.size() || !is_digit(field[i])) return false;
    long r = 0;
    for (; i < field.size() && is_digit(field[i]); ++i)
        r = std::min(r * 10 + (field[i] - '0'), 1000000L);
    if (r < 1) return false;
    if (i < field.size() && !is_name_separator(field[i])) return false;
    while (i < field.size() && is_name_separator(field[i])) ++i;
    *row = int(r - 1);
    *col = int(c - 1);
    *rest = field.substr(i);
    return true;
}

// A column-header word such as A, B or AA.
bool is_short_word(const std::string& f) {
    if (f.empty() || f.size() > 3) return false;
    return std::all_of(f.begin(), f.end(), is_letter);
}

bool is_plain_number(const std::string& f) {
    double v;
    return !f.empty() && quick_ff_parse_number(f.c_str(), &v, "");
}

// A positive integer followed only by spaces (the trim already removed them).
bool parse_row_number(const std::string& f, int* n) {
    if (f.empty() || f.size() > 9) return false;
    if (!std::all_of(f.begin(), f.end(), is_digit)) return false;
    const long v = std::strtol(f.c_str(), nullptr, 10);
    if (v < 1) return false;
    *n = int(v);
    return true;
}

// Settings in comments take effect at once, whether or not the file then yields cells.
void read_comment(Reader& rd, const char* line) {
    if (const char* p = std::strstr(line, "Rows=")) {
        const long v = std::strtol(p + 5, nullptr, 10);
        if (v >= 1) rd.requested_rows = int(std::min(v, 100000L));
    }
    if (const char* p = std::strstr(line, "Cols=")) {
        const long v = std::strtol(p + 5, nullptr, 10);
        if (v >= 1) rd.requested_cols = int(std::min(v, 100000L));
    }
    if (const char* p = std::strstr(line, "PatchLengthKm=")) {
        const double v = quick_ff_lenient_number(p + 14);
        if (std::isfinite(v) && v > 0) g_fault_stamp_length_km = float(std::clamp(v, 5.0, 600.0));
    }
    if (const char* p = std::strstr(line, "PatchWidthKm=")) {
        const double v = quick_ff_lenient_number(p + 13);
        if (std::isfinite(v) && v > 0) set_fault_width_km_value(float(v));
    }
    if (const char* p = std::strstr(line, "Row1=")) {
        p += 5;
        if (strncasecmp(p, "deep", 4) == 0)
            g_quick_ff_row1_is_shallow = 0;
        else if (strncasecmp(p, "shallow", 7) == 0)
            g_quick_ff_row1_is_shallow = 1;
    }
}

// Name, then either an inline text (one field), a text (two or three fields), slip, delay,
// dip (four or five) or the legacy columns with rel_s and rel_d ignored (six or more).
void read_list_row(Reader& rd, const std::vector<std::string>& f, int row, int col,
                   const std::string& inline_text) {
    ++rd.list_rows;
    const std::size_t n = f.size();
    if (n == 1) {
        rd.add_text(row, col, inline_text.c_str());
    } else if (n <= 3) {
        rd.add_text(row, col, f[1].c_str());
    } else {
        const std::size_t k = n <= 5 ? 1 : 3;
        rd.add(row, col, quick_ff_lenient_number(f[k].c_str()),
               quick_ff_round_delay(quick_ff_lenient_number(f[k + 1].c_str())),
               quick_ff_lenient_number(f[k + 2].c_str()));
    }
}

// Every field "C3: 12.5/60/15" of the line adds its cell; false when no field is one.
// Other fields are ignored, which silently loses the delay and dip of "C3:12.5,60,15" (the
// commas split the cell text): such a line gets a note saying what was taken.
bool read_reference_tokens(Reader& rd, const std::vector<std::string>& f) {
    bool any = false;
    std::string last_name, last_text;  // the token before the first ignored field
    int ignored = 0;
    for (const std::string& field : f) {
        int row, col;
        std::string rest;
        if (!parse_cell_ref(field, &row, &col, &rest) || rest.empty()) {
            if (!field.empty() && any) ++ignored;
            continue;
        }
        if (!any) ++rd.list_rows;
        any = true;
        rd.add_text(row, col, rest.c_str());
        if (ignored == 0) {  // the note describes the first run of ignored fields
            last_name = quick_ff_cell_name(row, col);
            last_text = rest;
        }
    }
    if (!any || ignored == 0) return any;
    if (is_plain_number(last_text))
        rd.notes.push_back(format("Line %d: %s took slip %s only; %s ignored", rd.line_no,
                                  last_name.c_str(), last_text.c_str(),
                                  ignored == 1 ? "delay" : "delay and dip"));
    else
        rd.notes.push_back(format("Line %d: %d field(s) after %s ignored", rd.line_no, ignored,
                                  last_name.c_str()));
    return any;
}

// Columns A, B, ... from `first` on: either consecutive unquoted triples or one cell text
// per field. Returns the number of cells added.
int read_matrix_cells(Reader& rd, const std::vector<std::string>& f, std::size_t first, int row) {
    std::size_t end = f.size();
    // Spreadsheets pad rows with empty trailing cells; they never hold data.
    while (end > first && f[end - 1].empty()) --end;
    const std::size_t n = end - first;
    int added = 0;
    bool triples = n >= 3 && n % 3 == 0;
    for (std::size_t i = first; triples && i < end; ++i) triples = is_plain_number(f[i]);
    if (triples) {
        for (std::size_t t = 0; t < n / 3 && t < std::size_t(kQuickFfMaxSize); ++t) {
            const std::size_t i = first + 3 * t;
            added += rd.add(row, int(t), quick_ff_lenient_number(f[i].c_str()),
                            quick_ff_round_delay(quick_ff_lenient_number(f[i + 1].c_str())),
                            quick_ff_lenient_number(f[i + 2].c_str()));
        }
        return added;
    }
    for (std::size_t i = first; i < end && i - first < std::size_t(kQuickFfMaxSize); ++i)
        if (!f[i].empty()) added += rd.add_text(row, int(i - first), f[i].c_str());
    return added;
}

// The whole line, row number included, is a run of plain-number triples.
bool reads_as_triples(const std::vector<std::string>& f) {
    std::size_t end = f.size();
    while (end > 0 && f[end - 1].empty()) --end;
    if (end < 3 || end % 3 != 0) return false;
    return std::all_of(f.begin(), f.begin() + std::ptrdiff_t(end), is_plain_number);
}

void read_matrix_line(Reader& rd, const std::vector<std::string>& f) {
    int number = 0;
    if (parse_row_number(f[0], &number)) {
        if (f.size() < 2) return;  // a row number alone
        const int added = read_matrix_cells(rd, f, 1, number - 1);
        if (added > 0) {
            ++rd.matrix_rows;
            ++rd.running_row;
        }
        // "10,60,15,8,90,20" is also the unquoted-triples form with slip 10; the leading
        // whole number makes it a matrix row, which the user may not have meant.
        if (added > 0 && reads_as_triples(f)) {
            rd.notes.push_back(format("Line %d read as matrix row %d (%d slip%s)", rd.line_no,
                                      number, added, added == 1 ? "" : "s"));
        }
        return;
    }
    if (rd.running_row >= kQuickFfMaxSize) return;
    if (read_matrix_cells(rd, f, 0, rd.running_row) > 0) ++rd.matrix_rows;
    ++rd.running_row;
}

void read_line(Reader& rd, const char* raw) {
    const char* line = raw;
    if (std::strncmp(line, "\xEF\xBB\xBF", 3) == 0) line += 3;
    while (*line == '\t' || *line == '\n' || *line == '\r' || *line == ' ') ++line;
    if (!*line) return;
    if (*line == '#') {
        read_comment(rd, line);
        return;
    }
    std::string text(line);
    std::replace(text.begin(), text.end(), '\t', ',');
    const std::vector<std::string> f = split_fields(text);

    if (f.size() >= 3 && equals_nocase(f[0], "cell") && equals_nocase(f[1], "rel_s") &&
        equals_nocase(f[2], "rel_d"))
        return;  // the legacy list's header

    int row, col;
    std::string rest;
    // A name with an inline text is a list row only when it stands alone on its line;
    // beside other fields it is one of several reference tokens.
    if (parse_cell_ref(f[0], &row, &col, &rest) && (f.size() == 1 || rest.empty()))
        return read_list_row(rd, f, row, col, rest);
    if (equals_nocase(f[0], "row")) return read_matrix_line(rd, f);  // the matrix header

    bool header = false;
    for (const std::string& field : f) {
        if (field.empty()) continue;
        header = is_short_word(field);
        if (!header) break;
    }
    if (header) return;  // A,B,C over unnumbered rows

    if (!equals_nocase(f[0], "cell") && read_reference_tokens(rd, f)) return;
    read_matrix_line(rd, f);
}

}  // namespace

std::string quick_ff_format_csv() {
    quick_ff_ensure_grid();
    const float width = fault_width_km_sanitized();
    std::string out;
    out += format(
        "# Quick finite-fault Excel-style grid. Epicenter cell = active delay-0 cell. Rows=%d "
        "Cols=%d PatchLengthKm=%.9g PatchWidthKm=%.9g Row1=%s. Each cell is "
        "slip_m,delay_s,dip_deg.\n",
        g_quick_ff_grid_rows, g_quick_ff_grid_cols, double(g_fault_stamp_length_km), double(width),
        g_quick_ff_row1_is_shallow ? "shallow" : "deep");
    out +=
        "# This matrix format is meant to be easy to edit in Excel. Empty cells mean no patch.\n";
    out += "row";
    for (int c = 0; c < g_quick_ff_grid_cols; ++c) out += "," + quick_ff_column_name(c);
    out += "\n";
    for (int r = 0; r < g_quick_ff_grid_rows; ++r) {
        out += std::to_string(r + 1);
        for (int c = 0; c < g_quick_ff_grid_cols; ++c) {
            const QuickFfCell& cell = *quick_ff_cell_at(r, c);
            if (!cell.enabled && cell.slip_m <= 0.0f) {
                out += ",";
                continue;
            }
            out += format(",\"%.9g,%d,%.9g\"", double(cell.slip_m), cell.delay_s,
                          double(cell.dip_deg));
        }
        out += "\n";
    }
    out += "\n# Legacy/list format is still accepted when loading:\n";
    out += "# cell,rel_s,rel_d,slip_m,delay_s,dip_deg\n";
    return out;
}

int quick_ff_write_csv_file(const char* path) {
    if (!path || !*path) return 0;
    const std::string text = quick_ff_format_csv();
    SafeFile file(path);
    if (!file) return 0;
    const bool wrote = std::fwrite(text.data(), 1, text.size(), file.get()) == text.size();
    return (wrote && file.commit()) ? 1 : 0;
}

int quick_ff_save_csv(void* owner_window) {
    FileDialogRequest req;
    req.title = "Save quick finite-fault grid CSV";
    req.filters = {{"CSV file", "*.csv"}, {"All files", "*.*"}};
    req.default_name = kQuickFfDefaultCsvName;
    req.default_extension = "csv";
    req.confirm_overwrite = true;
    req.path_must_exist = true;
    const std::optional<std::string> path = platform().save_file_dialog(req);
    if (!path) return 0;
    if (!quick_ff_write_csv_file(path->c_str())) {
        platform().message_box(kQuickFfBoxTitle, "Failed to write quick finite-fault CSV.",
                               MessageIcon::Warning, MessageButtons::Ok);
        return 0;
    }
    set_status("Saved quick finite-fault grid CSV: %d x %d cells, %s", g_quick_ff_grid_rows,
               g_quick_ff_grid_cols, path->c_str());
    return 1;
}

QuickFfLoadResult quick_ff_load_csv_text(const std::string& text) {
    Reader rd;
    const int old_orientation = g_quick_ff_row1_is_shallow;
    std::size_t pos = 0;
    bool line_start = true;
    while (pos < text.size()) {
        if (line_start) ++rd.line_no;
        // Lines are read as a 4096-byte line buffer would read them: a longer line
        // continues as the next one.
        std::size_t end = text.find('\n', pos);
        end = end == std::string::npos ? text.size() : end + 1;
        end = std::min(end, pos + kMaxLineBytes);
        const std::string line = text.substr(pos, end - pos);
        pos = end;
        line_start = line.back() == '\n';  // a long line's continuation keeps its number
        read_line(rd, line.c_str());
    }

    QuickFfLoadResult result;
    result.cells = int(rd.cells.size());
    result.matrix_rows = rd.matrix_rows;
    result.list_rows = rd.list_rows;
    result.notes = std::move(rd.notes);
    if (rd.cells.empty()) {
        // A Row1= key may have turned the orientation; keep the grid's offsets in step.
        if (g_quick_ff_row1_is_shallow != old_orientation) quick_ff_recompute_dip_offsets();
        return result;
    }

    int rows = std::clamp(rd.requested_rows > 0 ? rd.requested_rows : g_quick_ff_grid_rows,
                          kQuickFfMinSize, kQuickFfMaxSize);
    int cols = std::clamp(rd.requested_cols > 0 ? rd.requested_cols : g_quick_ff_grid_cols,
                          kQuickFfMinSize, kQuickFfMaxSize);
    for (const ReadCell& c : rd.cells) {
        rows = std::max(rows, c.row + 1);
        cols = std::max(cols, c.col + 1);
    }
    quick_ff_init_empty_grid(rows, cols, 0);
    for (const ReadCell& c : rd.cells) {
        QuickFfCell& cell = *quick_ff_cell_at(c.row, c.col);
        cell.slip_m = c.slip;
        cell.delay_s = c.delay;
        cell.dip_deg = c.dip;
        cell.enabled = c.slip > kSourceZeroEps ? 1 : 0;
    }
    return result;
}

std::string quick_ff_load_notes_text(const QuickFfLoadResult& r) {
    if (r.notes.empty()) return "";
    std::string text = " " + r.notes[0] + ".";
    if (r.notes.size() > 1) text += format(" (+%d more)", int(r.notes.size() - 1));
    return text;
}

bool quick_ff_load_csv_file(const char* path, QuickFfLoadResult* result) {
    if (!path) return false;
    std::FILE* f = open_regular_file(path);  // a directory is not a file that opens
    if (!f) return false;
    std::string text;
    char buf[65536];
    for (std::size_t n; (n = std::fread(buf, 1, sizeof buf, f)) > 0;) text.append(buf, n);
    const bool bad = std::ferror(f) != 0;
    std::fclose(f);
    if (bad) return false;
    const QuickFfLoadResult r = quick_ff_load_csv_text(text);
    if (result) *result = r;
    return true;
}

int quick_ff_load_csv(void* owner_window) {
    FileDialogRequest req;
    req.title = "Load quick finite-fault grid CSV";
    req.filters = {{"CSV / text file", "*.csv;*.txt"}, {"CSV file", "*.csv"}, {"All files", "*.*"}};
    req.default_name = kQuickFfDefaultCsvName;
    req.default_extension = "csv";
    req.file_must_exist = true;
    req.path_must_exist = true;
    const std::optional<std::string> path = platform().open_file_dialog(req);
    if (!path) return 0;
    QuickFfLoadResult r;
    if (!quick_ff_load_csv_file(path->c_str(), &r)) {
        platform().message_box(kQuickFfBoxTitle, "Failed to open quick finite-fault CSV.",
                               MessageIcon::Warning, MessageButtons::Ok);
        return 0;
    }
    if (r.cells == 0) {
        platform().message_box(kQuickFfBoxTitle, kQuickFfNoCellsMessage, MessageIcon::Warning,
                               MessageButtons::Ok);
        return 0;
    }
    set_status("Loaded quick finite-fault CSV: %d cells (%d matrix rows, %d list/ref rows).%s",
               r.cells, r.matrix_rows, r.list_rows, quick_ff_load_notes_text(r).c_str());
    return r.cells;
}

}  // namespace kaitoro
