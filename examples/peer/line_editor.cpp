// One line that is typed key by key.
#include "peer/line_editor.h"

#include <utility>

namespace example {

namespace {

constexpr std::size_t kMostBytes = 64 * 1024;
constexpr std::size_t kMostEarlier = 100;

constexpr char Control(char letter) {
    return static_cast<char>(letter & 0x1F);
}

constexpr char kEscape = 0x1B;
constexpr char kDelete = 0x7F;

bool IsContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

}  // namespace

LineEditor::Outcome LineEditor::Feed(char byte) {
    if (escape_ != Escape::kNone) {
        FeedEscape(byte);
        return Outcome::kEditing;
    }
    switch (byte) {
        case '\r':
        case '\n':
            return Outcome::kLine;
        case Control('D'):
        case Control('Z'):  // how the end of input is typed on Windows
            return text_.empty() ? Outcome::kEnd : Outcome::kEditing;
        case kEscape:
            escape_ = Escape::kBegun;
            break;
        case kDelete:
        case '\b':
            EraseCharacter();
            break;
        case Control('U'):
            text_.clear();
            break;
        case Control('W'):
            EraseWord();
            break;
        default: {
            const char typed = byte == '\t' ? ' ' : byte;
            const bool is_text = static_cast<unsigned char>(typed) >= ' ';
            if (is_text && text_.size() < kMostBytes) {
                text_ += typed;
            }
        }
    }
    return Outcome::kEditing;
}

// Keys such as the arrows come as ESC [ A, some with numbers before the letter that ends them.
void LineEditor::FeedEscape(char byte) {
    if (escape_ == Escape::kBegun) {
        escape_ = byte == '[' || byte == 'O' ? Escape::kSequence : Escape::kNone;
        return;
    }
    if (byte >= '@' && byte <= '~') {
        escape_ = Escape::kNone;
        if (byte == 'A' && recalled_ > 0) {
            Recall(recalled_ - 1);
        } else if (byte == 'B' && recalled_ < earlier_.size()) {
            Recall(recalled_ + 1);
        }
    }
}

void LineEditor::Recall(std::size_t index) {
    recalled_ = index;
    text_ = index < earlier_.size() ? earlier_[index] : std::string();
}

void LineEditor::EraseCharacter() {
    while (!text_.empty() && IsContinuation(text_.back())) {
        text_.pop_back();
    }
    if (!text_.empty()) {
        text_.pop_back();
    }
}

void LineEditor::EraseWord() {
    while (!text_.empty() && text_.back() == ' ') {
        text_.pop_back();
    }
    while (!text_.empty() && text_.back() != ' ') {
        text_.pop_back();
    }
}

std::string LineEditor::TakeLine() {
    if (!text_.empty() && (earlier_.empty() || earlier_.back() != text_)) {
        earlier_.push_back(text_);
        if (earlier_.size() > kMostEarlier) {
            earlier_.erase(earlier_.begin());
        }
    }
    recalled_ = earlier_.size();
    return std::exchange(text_, std::string());
}

}  // namespace example
