// What a debugger's server says about its target: architecture and registers.
#pragma once

#include <functional>
#include <set>
#include <string>
#include <vector>

#include <ztk/ztk.h>

namespace example {

struct Register {
    int number;
    std::string name;
    int bits;
    std::string type;
};

struct Feature {
    std::string name;
    std::vector<Register> registers;
};

// Gives the text of a document of the description by name; false with the reason in *text.
using DocumentSource = std::function<bool(const std::string& name, std::string* text)>;

// Gives what is known about a register in the form "name:rax;bitsize:64;...": false behind the
// last.
using RegisterSource = std::function<bool(int number, std::string* info)>;

// The documents of a description, read into one. Texts are UTF-8.
class TargetDescription {
  public:
    // Reads "target.xml" and every document that it includes. False with *problem set when that
    // cannot be understood or describes no registers; what cannot be understood in it, or is not
    // there, is left out and noted. What source throws is passed on.
    bool Read(const DocumentSource& source, std::string* problem);

    // Reads a list of registers in place of documents. False when it has none. What source throws
    // is passed on.
    bool ReadList(const RegisterSource& source);

    [[nodiscard]] const std::string& Architecture() const { return architecture_; }
    [[nodiscard]] const std::string& System() const { return system_; }  // empty if it is not said
    [[nodiscard]] const std::vector<Feature>& Features() const { return features_; }

    // What was left out, and why.
    [[nodiscard]] const std::vector<std::string>& Notes() const { return notes_; }

  private:
    bool ReadDocument(const std::string& name, std::string* problem);
    void ReadElement(ZTK::CXMLTag* tag);
    void ReadChildren(ZTK::CXMLTag* tag);
    void ReadInclude(ZTK::CXMLTag* tag);
    void ReadRegister(ZTK::CXMLTag* tag);
    void AddRegister(Register added);
    void Note(std::string text);

    const DocumentSource* source_ = nullptr;
    std::set<std::string> read_;  // names of documents
    int depth_ = 0;               // of the elements that are being read
    std::vector<std::string> notes_;
    std::string architecture_;
    std::string system_;
    std::vector<Feature> features_;
    int next_number_ = 0;
};

}  // namespace example
