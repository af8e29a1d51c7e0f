#include "platform/posix/dom_value.h"

#include <algorithm>
#include <cstring>

#include "platform/posix/dom_text.h"
#include "platform/posix/dom_typed_value.h"

namespace ZTKPosix::dom {

namespace {

// Characters of the text below a node, counted over all of it.
struct TextRange {
    std::size_t begin;
    std::size_t end;
};

// Calls visit(text, length, trimmed) for each piece of text below root, or of root itself, in
// order.
template <class Visit>
void ForEachPiece(const Node& root, Visit visit) noexcept {
    const bool whole = root.kind == NodeKind::kElement;
    for (const Node* node = &root; node != nullptr; node = NextInTree(node, &root)) {
        // Below an element only text counts, not what comments and instructions say.
        const bool is_text = node->kind == NodeKind::kText || node->kind == NodeKind::kCdata;
        if (node->kind == NodeKind::kElement || (whole && !is_text)) {
            continue;
        }
        const bool trimmed = whole && node->kind == NodeKind::kText && !node->keeps_space;
        for (const TextPiece* piece = node->text; piece != nullptr; piece = piece->next) {
            visit(piece->Characters(), std::size_t{piece->length}, trimmed);
        }
    }
}

// What is left of the text when the white space around it goes, as far as it may.
TextRange KeptText(const Node& root) noexcept {
    TextRange kept{0, 0};
    std::size_t position = 0;
    bool found = false;
    ForEachPiece(root, [&](const wchar_t* text, std::size_t length, bool trimmed) {
        const wchar_t* first = text;
        const wchar_t* last = text + length;
        if (trimmed) {
            first = std::find_if_not(first, last, IsSpace<wchar_t>);
            while (last != first && IsSpace(last[-1])) {
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
