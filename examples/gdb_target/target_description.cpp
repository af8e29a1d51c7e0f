// What a debugger's server says about its target.
#include "gdb_target/target_description.h"

#include <memory>

#include "common/utf.h"
#include "gdb_target/gdb_packet.h"
#include "gdb_target/mend_xml.h"

namespace example {

namespace {

constexpr std::size_t kMostDocuments = 64;
constexpr std::size_t kMostNotes = 20;
constexpr int kMostNested = 100;  // elements, over all documents that include one another
constexpr int kMostListed = 10000;

// Whether a tag has this name, whatever its prefix and its case are.
bool IsNamed(ZTK::CXMLTag* tag, const wchar_t* name) {
    const wchar_t* own = tag->GetBuffer();
    const wchar_t* colon = ZTK::StrFind(own, L':');
    return ZTK::StrEqual(colon == nullptr ? own : colon + 1, name, false);
}

std::string AttributeText(ZTK::CXMLTag* tag, const wchar_t* name) {
    ZTK::CXMLAttribute* attribute = tag->GetAttribute(name);
    return attribute == nullptr ? "" : ZTK::ToUtf8(attribute->GetValue());
}

// Why the document refused its text, to stand behind a sentence; empty if that is not known.
std::string ReasonOf(const ZTK::CXml& xml) {
    ZTK::CXMLLoadError error;
    return xml.GetLoadError(error) ? " (" + ZTK::Describe(error) + ")" : "";
}

// "name:value" of a register in a list.
std::string ItemText(std::string_view info, std::string_view name) {
    std::string_view value;
    return FindItem(info, name, &value) ? std::string(value) : "";
}

}  // namespace

bool TargetDescription::Read(const DocumentSource& source, std::string* problem) {
    source_ = &source;
    if (!ReadDocument("target.xml", problem)) {
        return false;
    }
    for (const Feature& feature : features_) {
        if (!feature.registers.empty()) {
            return true;
        }
    }
    *problem = "it describes no registers";
    return false;
}

bool TargetDescription::ReadList(const RegisterSource& source) {
    std::string info;
    for (int number = 0; number < kMostListed && source(number, &info); ++number) {
        const std::string set = ItemText(info, "set:");
        if (features_.empty() || features_.back().name != set) {
            features_.push_back({set, {}});
        }
        const std::string bits = ItemText(info, "bitsize:");
        AddRegister({number, ItemText(info, "name:"), ZTK::StrToIntA(bits.c_str()),
                     ItemText(info, "encoding:")});
    }
    return !features_.empty();
}

void TargetDescription::Note(std::string text) {
    if (notes_.size() < kMostNotes) {
        notes_.push_back(std::move(text));
    }
}

// A document is read once: documents that include one another would go on for ever.
bool TargetDescription::ReadDocument(const std::string& name, std::string* problem) {
    if (!read_.insert(name).second) {
        return true;
    }
    if (read_.size() > kMostDocuments) {
        *problem = "too many documents for " + name;
        return false;
    }
    std::string text;
    if (!(*source_)(name, &text)) {
        *problem = text;
        return false;
    }
    RemoveDoctype(&text);
    DeclarePrefix(&text, "xi", "http://www.w3.org/2001/XInclude");
    std::size_t bad = 0;
    const std::optional<ZTK::WideText> wide = Widen(text, &bad);
    ZTK::CXml xml;
    if (!wide) {
        *problem = name + " is no UTF-8 text at byte " + std::to_string(bad);
    } else if (!xml.LoadXML(wide->c_str())) {
        *problem = name + " is not well-formed" + ReasonOf(xml);
    } else if (!IsNamed(xml.GetRoot(), L"target") && !IsNamed(xml.GetRoot(), L"feature")) {
        *problem = name + " is no target description";
    } else {
        ReadElement(xml.GetRoot());
        return true;
    }
    return false;
}

// Elements that we do not know (types, for the most part) are left out.
void TargetDescription::ReadElement(ZTK::CXMLTag* tag) {
    if (IsNamed(tag, L"target")) {
        ReadChildren(tag);
    } else if (IsNamed(tag, L"include")) {
        ReadInclude(tag);
    } else if (IsNamed(tag, L"reg")) {
        ReadRegister(tag);
    } else if (IsNamed(tag, L"architecture")) {
        architecture_ = ZTK::ToUtf8(tag->GetValue());
    } else if (IsNamed(tag, L"osabi")) {
        system_ = ZTK::ToUtf8(tag->GetValue());
    } else if (IsNamed(tag, L"feature")) {
        features_.push_back({AttributeText(tag, L"name"), {}});
        ReadChildren(tag);
    }
}

void TargetDescription::ReadChildren(ZTK::CXMLTag* tag) {
    if (depth_ == kMostNested) {
        Note("elements within elements are left out from a depth of " + std::to_string(depth_));
        return;
    }
    ++depth_;
    for (std::unique_ptr<ZTK::CXMLTag> child(tag->FirstTag()); child; child.reset(tag->NextTag())) {
        ReadElement(child.get());
    }
    --depth_;
}

void TargetDescription::ReadInclude(ZTK::CXMLTag* tag) {
    std::string problem = "an include names no document";
    const std::string name = AttributeText(tag, L"href");
    if (name.empty() || !ReadDocument(name, &problem)) {
        Note(problem + "; its registers are left out, and the numbers behind them may be wrong");
    }
}

// Registers are numbered one after another unless they say otherwise.
void TargetDescription::ReadRegister(ZTK::CXMLTag* tag) {
    ZTK::CXMLAttribute* bits = tag->GetAttribute(L"bitsize");
    ZTK::CXMLAttribute* number = tag->GetAttribute(L"regnum");
    if (features_.empty()) {
        features_.push_back({});
    }
    AddRegister({number == nullptr ? next_number_ : number->ToInt(), AttributeText(tag, L"name"),
                 bits == nullptr ? 0 : bits->ToInt(), AttributeText(tag, L"type")});
}

void TargetDescription::AddRegister(Register added) {
    next_number_ = added.number + 1;
    if (added.name.empty() || added.bits < 1) {
        Note("register " + std::to_string(added.number) +
             (added.name.empty() ? " has no name" : ", " + added.name + ", has no width") +
             " and is left out");
        return;
    }
    if (added.type.empty()) {
        added.type = "int";
    }
    features_.back().registers.push_back(std::move(added));
}

}  // namespace example
