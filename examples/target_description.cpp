// What a debugger's server says about its target.
#include "target_description.h"

#include <memory>

#include "utf.h"

namespace example {

namespace {

constexpr std::size_t kMostDocuments = 64;

// Whether a tag has this name, whatever its prefix and its case are.
bool IsNamed(ZTK::CXMLTag* tag, const wchar_t* name) {
    const wchar_t* own = tag->GetBuffer();
    const wchar_t* colon = ZTK::StrFind(own, L':');
    return ZTK::StrEqual(colon == nullptr ? own : colon + 1, name, false);
}

std::string AttributeText(ZTK::CXMLTag* tag, const wchar_t* name) {
    ZTK::CXMLAttribute* attribute = tag->GetAttribute(name);
    return attribute == nullptr ? "" : ToUtf8(attribute->GetValue());
}

// Descriptions name a document type definition that is installed with the debugger and need not be
// on this machine. They can be read without it.
void RemoveDoctype(std::string* document) {
    const std::size_t start = document->find("<!DOCTYPE");
    if (start == std::string::npos) {
        return;
    }
    const std::size_t end = document->find_first_of("[>", start);
    if (end != std::string::npos && (*document)[end] == '>') {
        document->erase(start, end + 1 - start);
    }
}

}  // namespace

bool TargetDescription::Read(const DocumentSource& source, std::string* problem) {
    source_ = &source;
    const bool ok = ReadDocument("target.xml");
    *problem = problem_;
    return ok;
}

bool TargetDescription::Fail(std::string problem) {
    if (problem_.empty()) {
        problem_ = std::move(problem);
    }
    return false;
}

// A document is read once: documents that include one another would go on for ever.
bool TargetDescription::ReadDocument(const std::string& name) {
    if (!read_.insert(name).second) {
        return true;
    }
    if (read_.size() > kMostDocuments) {
        return Fail("too many documents");
    }
    std::string text = (*source_)(name);
    RemoveDoctype(&text);
    std::vector<wchar_t> wide;
    ZTK::CXml xml;
    if (!Widen(text, &wide) || !xml.LoadXML(wide.data())) {
        return Fail(name + " is not well-formed");
    }
    if (!IsNamed(xml.GetRoot(), L"target") && !IsNamed(xml.GetRoot(), L"feature")) {
        return Fail(name + " is no target description");
    }
    return ReadElement(xml.GetRoot());
}

// Elements that we do not know (types, for the most part) are left out.
bool TargetDescription::ReadElement(ZTK::CXMLTag* tag) {
    if (IsNamed(tag, L"target")) {
        return ReadChildren(tag);
    }
    if (IsNamed(tag, L"include")) {
        return ReadInclude(tag);
    }
    if (IsNamed(tag, L"reg")) {
        return ReadRegister(tag);
    }
    if (IsNamed(tag, L"architecture")) {
        architecture_ = ToUtf8(tag->GetValue());
    } else if (IsNamed(tag, L"osabi")) {
        system_ = ToUtf8(tag->GetValue());
    } else if (IsNamed(tag, L"feature")) {
        features_.push_back({AttributeText(tag, L"name"), {}});
        return ReadChildren(tag);
    }
    return true;
}

bool TargetDescription::ReadChildren(ZTK::CXMLTag* tag) {
    for (std::unique_ptr<ZTK::CXMLTag> child(tag->FirstTag()); child; child.reset(tag->NextTag())) {
        if (!ReadElement(child.get())) {
            return false;
        }
    }
    return true;
}

bool TargetDescription::ReadInclude(ZTK::CXMLTag* tag) {
    const std::string name = AttributeText(tag, L"href");
    return name.empty() ? Fail("an include names no document") : ReadDocument(name);
}

// Registers are numbered one after another unless they say otherwise.
bool TargetDescription::ReadRegister(ZTK::CXMLTag* tag) {
    ZTK::CXMLAttribute* bits = tag->GetAttribute(L"bitsize");
    ZTK::CXMLAttribute* number = tag->GetAttribute(L"regnum");
    Register added;
    added.name = AttributeText(tag, L"name");
    added.bits = bits == nullptr ? 0 : bits->ToInt();
    added.type = AttributeText(tag, L"type");
    added.number = number == nullptr ? next_number_ : number->ToInt();
    if (features_.empty() || added.name.empty() || added.bits < 1) {
        return Fail("a register without feature, name or width");
    }
    if (added.type.empty()) {
        added.type = "int";
    }
    next_number_ = added.number + 1;
    features_.back().registers.push_back(std::move(added));
    return true;
}

}  // namespace example
