#include "tests/support/fake_platform.h"

namespace kaitoro::testing {

MessageAnswer FakePlatform::message_box(const std::string& title, const std::string& text,
                                        MessageIcon icon, MessageButtons buttons) {
    boxes.push_back({title, text, icon, buttons});
    if (box_answers.empty()) return MessageAnswer::Ok;
    MessageAnswer a = box_answers.front();
    box_answers.pop_front();
    return a;
}

std::optional<std::string> FakePlatform::open_file_dialog(const FileDialogRequest& req) {
    open_requests.push_back(req);
    if (open_answers.empty()) return std::nullopt;
    auto a = open_answers.front();
    open_answers.pop_front();
    return a;
}

std::optional<std::string> FakePlatform::save_file_dialog(const FileDialogRequest& req) {
    save_requests.push_back(req);
    if (save_answers.empty()) return std::nullopt;
    auto a = save_answers.front();
    save_answers.pop_front();
    return a;
}

}  // namespace kaitoro::testing
