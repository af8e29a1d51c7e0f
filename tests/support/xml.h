// XML documents, and what their calls raise, in a form that tests can compare.
#pragma once

#include <memory>
#include <string>

#include "support/text.h"
#include "ztk/xml.h"

namespace ztk_test {

using Tag = std::unique_ptr<ZTK::CXMLTag>;

// A name or value for display: as Show, without the mark of wide texts.
inline std::string Plain(const wchar_t* text) {
    return text == nullptr ? "null" : Show(text).substr(1);
}

// A tag and all below it: name=value, then the children in parentheses.
inline std::string Outline(ZTK::CXMLTag* tag) {
    if (tag == nullptr) {
        return "nothing";
    }
    std::string name = Plain(tag->GetBuffer());
    std::string outline = name.substr(1, name.size() - 2) + "=" + Plain(tag->GetValue());
    std::string children;
    for (Tag child(tag->FirstTag()); child != nullptr; child.reset(tag->NextTag())) {
        children += (children.empty() ? "" : " ") + Outline(child.get());
    }
    return children.empty() ? outline : outline + "(" + children + ")";
}

// What a call raises; S_OK when it raises nothing.
template <class Call>
HRESULT Raised(Call call) {
    try {
        call();
    } catch (const _com_error& error) {
        return error.Error();
    }
    return S_OK;
}

}  // namespace ztk_test
