// Tool windows without a toolkit: controls are a table of texts, the focus is a field the test
// sets, and every window the shell creates is kept so tests can find and drive it.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "shell/tool_window.h"

namespace kaitoro::testing {

class FakeControlWindow : public ControlWindow {
  public:
    explicit FakeControlWindow(const ToolWindowDef* d) : def(d) {}

    const ToolWindowDef* def;
    std::vector<ControlSpec> controls;
    std::map<int, std::string> texts;
    std::map<int, std::uint32_t> colors;
    int focus = 0;
    int raised = 0;
    int builds = 0;
    bool destroyed = false;

    void set_controls(const std::vector<ControlSpec>& c) override {
        controls = c;
        texts.clear();
        colors.clear();
        for (const ControlSpec& s : c)
            if (s.id) texts[s.id] = s.text;
        if (!has_control(focus)) focus = 0;
        ++builds;
    }
    bool has_control(int id) override { return id && texts.count(id) > 0; }
    std::string control_text(int id) override {
        auto it = texts.find(id);
        return it == texts.end() ? std::string() : it->second;
    }
    void set_control_text(int id, const std::string& t) override {
        auto it = texts.find(id);
        if (it == texts.end()) return;
        it->second = t;
        if (def && def->edit_changed && is_edit(id)) def->edit_changed(this, id);
    }
    void set_control_color(int id, std::uint32_t rgb) override { colors[id] = rgb; }
    int focused_control() override { return focus; }
    void raise_window() override { ++raised; }
    void destroy_window() override {
        if (destroyed) return;
        destroyed = true;
        if (def && def->destroyed) def->destroyed(this);
    }

    // What a user does.
    void type(int id, const std::string& t) {
        focus = id;
        set_control_text(id, t);
    }
    void press(int id) {
        if (def && def->command) def->command(this, id);
    }
    void close_box() {
        if (def && def->close_box) def->close_box(this);
    }
    int key(int k) { return def && def->key_down ? def->key_down(this, k) : 0; }
    const ControlSpec* control_def(int id) const {
        for (const ControlSpec& s : controls)
            if (s.id == id) return &s;
        return nullptr;
    }

  private:
    bool is_edit(int id) const {
        const ControlSpec* s = control_def(id);
        return s && (s->kind == ControlKind::Edit || s->kind == ControlKind::MultiLineEdit);
    }
};

// Installs window callbacks that create FakeControlWindows and count quits and focus requests.
class ScopedFakeWindows {
  public:
    ScopedFakeWindows() { install(); }
    // Again after anything that resets the program's globals.
    void install() {
        current() = this;
        g_shell_windows.create_tool_window = [](const ToolWindowDef* def) -> ControlWindow* {
            current()->windows.push_back(std::make_unique<FakeControlWindow>(def));
            return current()->windows.back().get();
        };
        g_shell_windows.quit = [] { ++current()->quits; };
        g_shell_windows.focus_main = [] { ++current()->focus_main; };
        g_shell_windows.capture_mouse = [] { ++current()->captures; };
        g_shell_windows.release_mouse = [] { ++current()->releases; };
    }
    ~ScopedFakeWindows() {
        g_shell_windows = {};
        current() = nullptr;
    }

    // The newest open window of a kind, or nullptr.
    FakeControlWindow* open_window(const ToolWindowDef* def) {
        for (auto it = windows.rbegin(); it != windows.rend(); ++it)
            if ((*it)->def == def && !(*it)->destroyed) return it->get();
        return nullptr;
    }

    std::vector<std::unique_ptr<FakeControlWindow>> windows;
    int quits = 0, focus_main = 0, captures = 0, releases = 0;

  private:
    static ScopedFakeWindows*& current() {
        static ScopedFakeWindows* p = nullptr;
        return p;
    }
};

}  // namespace kaitoro::testing
