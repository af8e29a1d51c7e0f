// Lookups by a path of names, from the root down.
#include <cstdarg>

#include "ztk/strings.h"
#include "ztk/xml.h"

namespace ZTK {

namespace {

// The variable arguments of a lookup: names up to a null pointer.
class Names {
  public:
    explicit Names(va_list* names) : names_(names) {}
    Names(const Names&) = delete;
    Names& operator=(const Names&) = delete;
    ~Names() { va_end(*names_); }  // here, because a step may raise

    const wchar_t* Next() { return va_arg(*names_, const wchar_t*); }

  private:
    va_list* names_;
};

}  // namespace

// Stands on a tag: the root, or one that it made. Each tag made on the way owns the one before,
// which nobody else refers to.
class CXml::PathWalk {
  public:
    explicit PathWalk(CXMLTag* root) : root_(root), tag_(root) {}
    PathWalk(const PathWalk&) = delete;
    PathWalk& operator=(const PathWalk&) = delete;
    ~PathWalk() {
        if (tag_ != root_) {
            delete tag_;
        }
    }

    // Steps to a child, or returns false.
    bool StepTo(const wchar_t* name) {
        CXMLTag* child = tag_->GetTag(name);
        if (child == nullptr) {
            return false;
        }
        child->owns_parent_ = tag_ != root_;
        tag_ = child;
        return true;
    }

    CXMLTag* Tag() { return tag_; }

    // Hands the tag over to the caller.
    CXMLTag* Take() {
        CXMLTag* const tag = tag_;
        tag_ = root_;
        return tag;
    }

  private:
    CXMLTag* const root_;
    CXMLTag* tag_;
};

bool CXml::IsRootName(const wchar_t* name) {
    return StrEqual(root_->GetBuffer(), name, false);
}

CXMLTag* CXml::FindTagV(const wchar_t* root_name, ...) {
    if (root_ == nullptr || root_name == nullptr) {
        return nullptr;
    }
    // Callers that do not know the root's name rely on this: any tag is better than none.
    if (!IsRootName(root_name)) {
        return root_;
    }
    va_list arguments;
    va_start(arguments, root_name);
    Names names(&arguments);
    PathWalk walk(root_);
    while (const wchar_t* name = names.Next()) {
        if (!walk.StepTo(name)) {
            return nullptr;
        }
    }
    return walk.Take();
}

CXMLAttribute* CXml::FindAttributeV(const wchar_t* root_name, ...) {
    if (root_ == nullptr || root_name == nullptr || !IsRootName(root_name)) {
        return nullptr;
    }
    va_list arguments;
    va_start(arguments, root_name);
    Names names(&arguments);
    PathWalk walk(root_);
    const wchar_t* name = names.Next();
    if (name == nullptr) {
        return nullptr;
    }
    // Every name that another one follows is a tag's.
    while (const wchar_t* following = names.Next()) {
        if (!walk.StepTo(name)) {
            return nullptr;
        }
        name = following;
    }
    CXMLAttribute* attribute = walk.Tag()->GetAttribute(name);
    if (attribute != nullptr) {
        (void)walk.Take();  // the attribute keeps it: it is found through GetParent
    }
    return attribute;
}

}  // namespace ZTK
