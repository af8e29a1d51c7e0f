#include "platform/posix/dom/value.h"

#include <algorithm>
#include <cstring>

#include "platform/posix/dom/typed_value.h"
#include "text/ascii.h"

namespace ZTKPosix::dom {

namespace {

// Characters of the text below a node, counted over all of it.
struct TextRange {
    std::size_t begin;
    std::size_t end;
};

// Decides where a blank belongs between two neighbouring texts below an element: where white space
// that became no node stood between them. White space in an element that contains the second text
// but not the first does not count: it only indents what that element contains.
class Gaps {
  public:
    void Enter() noexcept { ++depth_; }
    void Leave() noexcept {
        --depth_;
        least_since_text_ = std::min(least_since_text_, depth_);
        least_since_gap_ = std::min(least_since_gap_, depth_);
    }
    void Dropped() noexcept {
        if (!open_) {
            open_ = true;
            least_since_gap_ = depth_;
        }
    }
    // At each text: whether the blank belongs before it.
    bool TakeAtText() noexcept {
        const bool blank = open_ && has_text_ && least_since_gap_ == least_since_text_;
        open_ = false;
        has_text_ = true;
        least_since_text_ = depth_;
        return blank;
    }

  private:
    std::size_t depth_ = 0;
    // The depth of the innermost element around all that came since the last text, and since the
    // first white space dropped behind it.
    std::size_t least_since_text_ = 0;
    std::size_t least_since_gap_ = 0;
    bool open_ = false;
    bool has_text_ = false;
};

// Calls visit(text, length, trimmed) for each piece of a node's own text. trimmed: white space at
// the ends of the whole value is left out where it stands in this piece.
template <class Visit>
void VisitPieces(const Node& node, bool trimmed, Visit visit) noexcept {
    for (const TextPiece* piece = node.text; piece != nullptr; piece = piece->next) {
        visit(piece->Characters(), std::size_t{piece->length}, trimmed);
    }
}

// The same for each piece of text below root, or of root itself, in order.
template <class Visit>
void ForEachPiece(const Node& root, Visit visit) noexcept {
    if (root.kind != NodeKind::kElement) {
        VisitPieces(root, false, visit);
        return;
    }
    Gaps gaps;
    const Node* node = &root;
    for (;;) {
        if (node->kind == NodeKind::kElement) {
            gaps.Enter();
            if (node->dropped_first) {
                gaps.Dropped();
            }
            if (node->first_child != nullptr) {
                node = node->first_child;
                continue;
            }
            gaps.Leave();
        } else if ((node->kind == NodeKind::kText || node->kind == NodeKind::kCdata) &&
                   node->text != nullptr) {
            // Below an element only text counts, not what comments and instructions say.
            if (gaps.TakeAtText()) {
                visit(L" ", std::size_t{1}, true);
            }
            VisitPieces(*node, node->kind == NodeKind::kText && !node->keeps_space, visit);
        }
        // On to the next sibling, or that of the nearest ancestor that has one.
        const Node* next = nullptr;
        while (node != &root && next == nullptr) {
            if (node->dropped_behind) {
                gaps.Dropped();
            }
            next = node->NextSibling();
            if (next == nullptr) {
                node = node->Parent();
                gaps.Leave();
            }
        }
        if (next == nullptr) {
            return;
        }
        node = next;
    }
}

// The part of the text that is left without the white space around it; that in CDATA sections and
// under xml:space="preserve" stays.
TextRange KeptText(const Node& root) noexcept {
    TextRange kept{0, 0};
    std::size_t position = 0;
    bool found = false;
    ForEachPiece(root, [&](const wchar_t* text, std::size_t length, bool trimmed) {
        const wchar_t* first = text;
        const wchar_t* last = text + length;
        if (trimmed) {
            first = std::find_if_not(first, last, ZTK::ascii::IsXmlSpace<wchar_t>);
            while (last != first && ZTK::ascii::IsXmlSpace(last[-1])) {
                --last;
            }
        }
        if (first != last) {
            if (!found) {
                kept.begin = position + static_cast<std::size_t>(first - text);
                found = true;
            }
            kept.end = position + static_cast<std::size_t>(last - text);
        }
        position += length;
    });
    return kept;
}

HRESULT CopyText(const Node& root, BSTR& copy) noexcept {
    const TextRange kept = KeptText(root);
    const std::size_t length = kept.end - kept.begin;
    copy = length <= UINT32_MAX ? SysAllocStringLen(nullptr, static_cast<UINT>(length)) : nullptr;
    if (copy == nullptr) {
        return E_OUTOFMEMORY;
    }
    std::size_t position = 0;
    wchar_t* target = copy;
    ForEachPiece(root, [&](const wchar_t* text, std::size_t piece_length, bool /*trimmed*/) {
        const std::size_t begin = std::clamp(kept.begin, position, position + piece_length);
        const std::size_t end = std::clamp(kept.end, position, position + piece_length);
        std::memcpy(target, text + (begin - position), (end - begin) * sizeof(wchar_t));
        target += end - begin;
        position += piece_length;
    });
    return S_OK;
}

}  // namespace

HRESULT NodeValue(const Node& node, VARIANT& value) noexcept {
    if (node.kind == NodeKind::kDocument || node.kind == NodeKind::kDocumentType) {
        value.vt = VT_NULL;
        return S_FALSE;
    }
    BSTR text = nullptr;
    if (const HRESULT result = CopyText(node, text); FAILED(result)) {
        return result;
    }
    if (node.type == DataType::kString) {
        value.vt = VT_BSTR;
        value.bstrVal = text;
        return S_OK;
    }
    const HRESULT result = MakeTypedValue(node.type, text, SysStringLen(text), value);
    SysFreeString(text);
    return result;
}

HRESULT AttributeValue(const Attribute& attribute, VARIANT& value) noexcept {
    const BSTR text = SysAllocStringLen(attribute.value->Characters(), attribute.value->length);
    if (text == nullptr) {
        return E_OUTOFMEMORY;
    }
    value.vt = VT_BSTR;
    value.bstrVal = text;
    return S_OK;
}

}  // namespace ZTKPosix::dom
