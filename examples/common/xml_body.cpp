// The bodies of the examples' messages.
#include "common/xml_body.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <optional>

#include "common/utf.h"
#include "common/xml_text.h"

namespace example {

namespace {

// The names of the arguments of each command; the last one takes the rest of the line.
struct Arguments {
    const char* command;
    const char* names[3];
};
constexpr Arguments kArguments[] = {
    {"launch", {"command-line"}},
    {"attach", {"process"}},
    {"detach", {"how"}},
    {"registers", {"thread"}},
    {"write-register", {"name", "value", "thread"}},
    {"read-memory", {"address", "count"}},
    {"write-memory", {"address", "bytes"}},
    {"break", {"address"}},
    {"delete", {"number"}},
    {"step", {"thread"}},
    {"backtrace", {"thread"}},
    {"evaluate", {"expression"}},
    {"echo", {"text"}},
};

// Splits the first word off text.
std::string_view NextWord(std::string_view* text) {
    const std::size_t end = std::min(text->find(' '), text->size());
    const std::string_view word = text->substr(0, end);
    text->remove_prefix(std::min(text->find_first_not_of(' ', end), text->size()));
    return word;
}

std::string MakeElement(const std::string& name, std::string_view text) {
    return "<" + name + ">" + EscapeXml(text) + "</" + name + ">";
}

std::string MakeArguments(const Arguments& arguments, std::string_view line) {
    std::string elements;
    for (std::size_t i = 0; i < std::size(arguments.names) && !line.empty(); ++i) {
        const bool last = i + 1 == std::size(arguments.names) || arguments.names[i + 1] == nullptr;
        elements += MakeElement(arguments.names[i], last ? line : NextWord(&line));
        if (last) {
            break;
        }
    }
    return elements;
}

}  // namespace

std::string MakeRequest(std::string_view line) {
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    if (line.substr(0, 1) == "<") {
        return std::string(line);
    }
    const std::string_view command = NextWord(&line);
    std::string request = "<request command=\"" + EscapeXml(command) + "\">";
    for (const Arguments& arguments : kArguments) {
        if (command == arguments.command) {
            request += MakeArguments(arguments, line);
        }
    }
    return request + "</request>";
}

// The answer's own white space counts: it is laid out for reading.
std::string MakeAnswer(std::string_view text) {
    return "<answer xml:space=\"preserve\">" + EscapeXml(text) + "</answer>";
}

bool XmlBody::Load(std::string_view body, const wchar_t* root, std::string* problem) {
    // The protocol has no document type definitions, and those of an untrusted peer could name
    // files.
    if (body.find("<!DOCTYPE") != std::string_view::npos) {
        *problem = "the body has a document type definition";
        return false;
    }
    std::size_t bad = 0;
    const std::optional<ZTK::WideText> text = Widen(body, &bad);
    if (!text) {
        *problem = "the body is no UTF-8 text at byte " + std::to_string(bad);
        return false;
    }
    if (!xml_.LoadXML(text->c_str())) {
        ZTK::CXMLLoadError error;
        *problem = "the body is not well-formed XML";
        if (xml_.GetLoadError(error)) {
            *problem += ", " + ZTK::Describe(error);
        }
        return false;
    }
    if (!ZTK::StrEqual(xml_.GetRoot()->GetBuffer(), root, true)) {
        *problem = "the body is no " + ZTK::ToUtf8(root);
        return false;
    }
    return true;
}

std::string XmlBody::Text() {
    return ZTK::ToUtf8(xml_.GetRoot()->GetValue());
}

std::string XmlBody::Attribute(const wchar_t* name) {
    ZTK::CXMLAttribute* attribute = xml_.GetRoot()->GetAttribute(name);
    return attribute == nullptr ? "" : ZTK::ToUtf8(attribute->GetValue());
}

std::string XmlBody::Command() {
    return Attribute(L"command");
}

bool XmlBody::Has(const wchar_t* argument) {
    const std::unique_ptr<ZTK::CXMLTag> tag(xml_.FindTagV(L"request", argument, nullptr));
    return tag != nullptr;
}

std::string XmlBody::Text(const wchar_t* argument) {
    const std::unique_ptr<ZTK::CXMLTag> tag(xml_.FindTagV(L"request", argument, nullptr));
    return tag == nullptr ? "" : ZTK::ToUtf8(tag->GetValue());
}

int XmlBody::Number(const wchar_t* argument, int otherwise) {
    const std::unique_ptr<ZTK::CXMLTag> tag(xml_.FindTagV(L"request", argument, nullptr));
    return tag == nullptr ? otherwise : tag->ToInt();
}

}  // namespace example
