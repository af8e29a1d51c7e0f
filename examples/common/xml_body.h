// The bodies of the examples' messages: XML, made on one side and read on the other.
#pragma once

#include <string>
#include <string_view>

#include <ztk/ztk.h>

namespace example {

// The request for a command line: "read-memory 0x1000 16" becomes
// <request command="read-memory"><address>0x1000</address><count>16</count></request>. A line that
// is XML already is sent as it is.
std::string MakeRequest(std::string_view line);

// The answer that carries text.
std::string MakeAnswer(std::string_view text);

// A body that was received. One object reads any number of bodies one after the other, on the
// thread that made it. What the library raises (_com_error) is passed on.
class XmlBody {
  public:
    // Takes a body of the given root element. False, with *problem set, for anything else.
    bool Load(std::string_view body, const wchar_t* root, std::string* problem);

    // All below: REQUIRES: Load was true.

    // The text of the root.
    [[nodiscard]] std::string Text();

    // An attribute of the root; empty when there is none of that name.
    [[nodiscard]] std::string Attribute(const wchar_t* name);

    // The command of a request; empty when it names none.
    [[nodiscard]] std::string Command();

    // The arguments of a request, by name; `otherwise` when it has none of that name.
    [[nodiscard]] bool Has(const wchar_t* argument);
    [[nodiscard]] std::string Text(const wchar_t* argument);
    [[nodiscard]] int Number(const wchar_t* argument, int otherwise);

  private:
    ZTK::CXml xml_;
};

}  // namespace example
