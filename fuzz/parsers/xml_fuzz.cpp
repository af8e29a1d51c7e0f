// Fuzzes the load of a document and a walk over all of it with the lookups of tags and attributes.
#include <memory>

#include "fuzz_input.h"

using TagPtr = std::unique_ptr<ZTK::CXMLTag>;

// An input may name any file of the machine.
[[maybe_unused]] static const bool is_ready =
    (ZTKPosix::SetExternalsAllowed(false), SUCCEEDED(CoInitialize(nullptr)));

// Down to a depth where the text of all ancestors of a node is still read quickly.
static void Walk(ZTK::CXMLTag& tag, int depth) {
    for (const wchar_t* name : {L"id", L"a", L"p:a", L"xmlns:p", L"id"}) {
        ZTK::CXMLAttribute* const attribute = tag.GetAttribute(name);
        Require(attribute == nullptr || ZTK::StrLength(attribute->GetValue()) < INT_MAX);
    }
    Require(ZTK::StrLength(tag.GetValue()) < INT_MAX && tag.ToInt() == tag.ToLong());
    for (TagPtr child(tag.FirstTag()); child && depth < 64; child.reset(tag.NextTag())) {
        Walk(*child, depth + 1);
    }
}

void Run(FuzzInput& input) {
    try {
        ZTK::CXml xml(input.Text<wchar_t>(input.rest.size()).data());
        if (ZTK::CXMLTag* const root = xml.GetRoot()) {
            Walk(*root, 0);
            TagPtr tag(xml.FindTagV(L"a", L"c", L"d", nullptr));
            (void)(tag.get() == root ? tag.release() : nullptr);  // the document's own
            auto* const id = xml.FindAttributeV(L"a", L"b", L"id", nullptr);
            const TagPtr owner(id != nullptr ? id->GetParent() : nullptr);
        }
    } catch (const _com_error& e) {
        Require(e.Error() == DISP_E_TYPEMISMATCH || (input.refuses && e.Error() == E_OUTOFMEMORY));
    }
    SetErrorInfo(0, nullptr);
    Require(ZTKPosix::LiveComObjects() + ZTKPosix::LiveBstrs() == 0);
}
