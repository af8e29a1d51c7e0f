// How the builder writes text: white space that becomes no node, and pieces that grow with the
// text.
#include <algorithm>

#include "platform/posix/dom/builder.h"
#include "platform/posix/dom/text.h"
#include "text/ascii.h"

namespace ZTKPosix::dom {

namespace {

bool IsBlank(const char* text, std::size_t length) noexcept {
    return std::all_of(text, text + length, ZTK::ascii::IsXmlSpace<char>);
}

// Copies text while it is blank, and returns whether all of it is: most often it is an end of line
// or the few blanks behind one.
bool CopyBlank(const char* text, std::size_t length, char* target) noexcept {
    for (std::size_t i = 0; i < length; ++i) {
        if (!ZTK::ascii::IsXmlSpace(text[i])) {
            return false;
        }
        target[i] = text[i];
    }
    return true;
}

}  // namespace

bool TreeBuilder::Characters(const char* text, std::size_t length) noexcept {
    if (text_ == nullptr) {
        // Only white space so far. It is kept aside: unless other text follows, it becomes no node.
        if (!current_->keeps_space && length <= sizeof blank_ - blank_length_ &&
            CopyBlank(text, length, blank_ + blank_length_)) {
            blank_length_ += length;
            return true;
        }
        if (!BeginText(NodeKind::kText) || !Write(blank_, blank_length_)) {
            return false;
        }
        blank_length_ = 0;
    }
    text_is_blank_ = text_is_blank_ && IsBlank(text, length);
    return Write(text, length);
}

bool TreeBuilder::StartCdata() noexcept {
    FlushText();
    return BeginText(NodeKind::kCdata);
}

void TreeBuilder::EndCdata() noexcept {
    FlushText();
}

bool TreeBuilder::Write(const char* text, std::size_t length) noexcept {
    if (length == 0) {
        return true;
    }
    if ((piece_ == nullptr || length > static_cast<std::size_t>(piece_end_ - piece_top_)) &&
        !NewPiece(length)) {
        return false;
    }
    piece_top_ = WidenUtf8(text, length, piece_top_);
    return true;
}

// Pieces grow with the text, so that a long one has few of them, and little room is lost at the end
// of the arena's blocks.
bool TreeBuilder::NewPiece(std::size_t least) noexcept {
    constexpr std::size_t kFirst = 32;
    constexpr std::size_t kLargest = 64 * 1024;
    std::size_t capacity = least + kFirst;
    TextPiece* const previous = piece_;
    if (previous != nullptr) {
        EndPiece();
        capacity = std::max(capacity, std::min<std::size_t>(previous->length * 2, kLargest));
    }
    void* const storage = tree_.arena.Allocate(sizeof(TextPiece) + capacity * sizeof(wchar_t));
    if (storage == nullptr) {
        piece_ = nullptr;
        return false;
    }
    piece_ = static_cast<TextPiece*>(storage);
    *piece_ = {};
    (previous != nullptr ? previous->next : text_->text) = piece_;
    piece_top_ = reinterpret_cast<wchar_t*>(piece_ + 1);
    piece_end_ = piece_top_ + capacity;
    return true;
}

void TreeBuilder::EndPiece() noexcept {
    if (piece_ != nullptr) {
        piece_->length = static_cast<std::uint32_t>(piece_top_ - piece_->Characters());
        tree_.arena.ShrinkLast(piece_top_);
        piece_ = nullptr;
    }
}

void TreeBuilder::FlushText() noexcept {
    bool dropped = blank_length_ != 0;
    blank_length_ = 0;
    if (text_ != nullptr) {
        EndPiece();
        // White space between tags becomes no node. A CDATA section does: its author asked for it.
        dropped = text_is_blank_ && !text_->keeps_space && text_->kind != NodeKind::kCdata;
        if (!dropped) {
            Append(*text_);
        }
        text_ = nullptr;
    }
    if (dropped) {
        NoteDroppedSpace();
    }
}

// The white space still separates the texts around it; see IXMLDOMNode::get_nodeTypedValue.
void TreeBuilder::NoteDroppedSpace() noexcept {
    if (last_child_ != nullptr) {
        last_child_->dropped_behind = true;
    } else {
        current_->dropped_first = true;
    }
}

}  // namespace ZTKPosix::dom
