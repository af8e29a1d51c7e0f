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

// Gives the text of a document of the description by name.
using DocumentSource = std::function<std::string(const std::string& name)>;

// The documents of a description, read into one. Texts are UTF-8.
class TargetDescription {
  public:
    // Reads "target.xml" and every document that it includes. False with *problem set when one of
    // them cannot be understood; what source throws is passed on.
    bool Read(const DocumentSource& source, std::string* problem);

    [[nodiscard]] const std::string& Architecture() const { return architecture_; }
    [[nodiscard]] const std::string& System() const { return system_; }  // empty if it is not said
    [[nodiscard]] const std::vector<Feature>& Features() const { return features_; }

  private:
    bool ReadDocument(const std::string& name);
    bool ReadElement(ZTK::CXMLTag* tag);
    bool ReadChildren(ZTK::CXMLTag* tag);
    bool ReadInclude(ZTK::CXMLTag* tag);
    bool ReadRegister(ZTK::CXMLTag* tag);
    bool Fail(std::string problem);

    const DocumentSource* source_ = nullptr;
    std::set<std::string> read_;  // names of documents
    std::string problem_;
    std::string architecture_;
    std::string system_;
    std::vector<Feature> features_;
    int next_number_ = 0;
};

}  // namespace example
