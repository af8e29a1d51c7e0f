// What a document tells about the text that it refused last.
#pragma once

#include <algorithm>
#include <climits>
#include <cstring>

#include "platform/posix/dom/dom_object.h"
#include "platform/posix/dom/parser.h"
#include "ztk/platform/posix/msxml.h"

namespace ZTKPosix::dom {

class ParseErrorObject final : public DomObject<ParseErrorObject, MSXML2::IXMLDOMParseError> {
  public:
    explicit ParseErrorObject(const Refusal& refusal) noexcept : refusal_(refusal) {}

    [[nodiscard]] static bool Answers(REFIID iid) noexcept { return iid == IID_IXMLDOMParseError; }

    HRESULT get_errorCode(LONG* errorCode) override {
        return HandOut(refusal_.reason != nullptr ? E_FAIL : S_OK, errorCode);
    }
    HRESULT get_line(LONG* lineNumber) override { return HandOut(refusal_.line, lineNumber); }
    HRESULT get_linepos(LONG* linePosition) override {
        return HandOut(refusal_.column, linePosition);
    }

    HRESULT get_reason(BSTR* reasonString) override {
        if (reasonString == nullptr) {
            return Fail(E_INVALIDARG);
        }
        *reasonString = nullptr;
        if (refusal_.reason == nullptr) {
            return S_FALSE;
        }
        const std::size_t length = std::strlen(refusal_.reason);
        BSTR const sentence = SysAllocStringLen(nullptr, static_cast<UINT>(length) + 1);
        if (sentence == nullptr) {
            return Fail(E_OUTOFMEMORY);
        }
        std::copy_n(refusal_.reason, length, sentence);
        if (sentence[0] >= L'a' && sentence[0] <= L'z') {
            sentence[0] = static_cast<wchar_t>(sentence[0] - L'a' + L'A');
        }
        sentence[length] = L'.';
        *reasonString = sentence;
        return S_OK;
    }

  private:
    template <class Number>
    [[nodiscard]] HRESULT HandOut(Number number, LONG* target) const noexcept {
        if (target == nullptr) {
            return Fail(E_INVALIDARG);
        }
        *target = static_cast<LONG>(std::min<Number>(number, INT_MAX));
        return refusal_.reason != nullptr ? S_OK : S_FALSE;
    }

    const Refusal refusal_;
};

}  // namespace ZTKPosix::dom
