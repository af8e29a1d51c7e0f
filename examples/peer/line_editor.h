// One line that is typed key by key, and those typed before.
#pragma once

#include <string>
#include <vector>

namespace example {

class LineEditor {
  public:
    enum class Outcome { kEditing, kLine, kEnd };

    // Takes the next byte that was typed: kLine when it completed the line, kEnd for Ctrl-D on an
    // empty one. Backspace, Ctrl-U (the line), Ctrl-W (a word) and the arrows up and down do what
    // they do elsewhere; other keys that are no text do nothing.
    Outcome Feed(char byte);

    // What was typed so far.
    [[nodiscard]] const std::string& Text() const { return text_; }

    // The completed line; the next one is empty.
    std::string TakeLine();

  private:
    void FeedEscape(char byte);
    void EraseCharacter();
    void EraseWord();
    void Recall(std::size_t index);

    enum class Escape { kNone, kBegun, kSequence };

    std::string text_;
    std::vector<std::string> earlier_;  // lines, the oldest first
    std::size_t recalled_ = 0;          // which of them is shown; their number for none
    Escape escape_ = Escape::kNone;
};

}  // namespace example
