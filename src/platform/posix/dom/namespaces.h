// Which address each prefix stands for while the elements of a document begin and end.
#pragma once

#include <cstdint>

#include "platform/posix/dom/text_pool.h"
#include "platform/posix/dom/tree.h"

namespace ZTKPosix::dom {

// The address of a namespace, each kept once.
struct Address : PooledText {
    std::uint32_t prefixes;  // that stand for it now
    bool is_data_types;      // of attributes that declare the type of an element's content
};

struct Prefix : PooledText {
    Address* address;  // that it stands for; null for none
};

// The parser could do this, but it would copy the address into every name: a long address and many
// names would take the product of both in time and memory.
//
// Its operations return false when memory is short or the arena's limit is reached, and when the
// document breaks a rule of namespaces: then Refusal() says which.
class Namespaces {
  public:
    // REQUIRES: the arena outlives the load; names of other loads are not passed in.
    explicit Namespaces(Arena& arena) noexcept;
    Namespaces(const Namespaces&) = delete;
    Namespaces& operator=(const Namespaces&) = delete;

    // Notes the prefix of the name of an element or attribute. To be called once for each name.
    [[nodiscard]] bool Classify(Name& name) noexcept;

    // Whether a name that was classified neither has a prefix nor declares one.
    [[nodiscard]] bool IsPlain(const Name& name) const noexcept { return name.prefix == &none_; }

    // What an attribute of that name says about its element. REQUIRES: its prefix stands for an
    // address, or it is plain.
    enum class Kind { kOther, kSpace, kType };
    [[nodiscard]] Kind KindOf(const Name& name) const noexcept;

    // An element begins, with its attributes: what they declare comes into force, and each prefix
    // must stand for an address. Need not be called when all names are plain.
    [[nodiscard]] bool Enter(const Element& element) noexcept;

    // Ends what the element declared.
    void Leave(const Node& element) noexcept {
        while (last_ != nullptr && last_->element == &element) {
            Undo();
        }
    }

    // Null as long as no rule was broken.
    [[nodiscard]] const char* Refusal() const noexcept { return refusal_; }

  private:
    // What a prefix stood for before an element declared it.
    struct Declaration {
        Declaration* previous;
        const Node* element;
        Prefix* prefix;
        Address* before;
    };
    // A name without its prefix, or one together with an address.
    struct Label : PooledText {
        std::uint32_t seen_in;  // the number of the last element with such an attribute
    };

    [[nodiscard]] bool Refuse(const char* reason) noexcept {
        refusal_ = reason;
        return false;
    }
    [[nodiscard]] bool Declare(const Element& element, const Attribute& attribute) noexcept;
    [[nodiscard]] bool Bind(const Element& element, Prefix& prefix, Address& address) noexcept;
    [[nodiscard]] bool IsUnique(const Name& attribute) noexcept;
    void Undo() noexcept;

    Arena& arena_;
    TextPool<Prefix> prefixes_;
    TextPool<Address> addresses_;
    TextPool<Label> locals_;
    TextPool<Label> expanded_;
    Address xml_address_{};
    Prefix none_{};          // of names without a prefix
    Prefix declarations_{};  // of "xmlns" and of names with that prefix
    Prefix xml_{};
    Declaration* last_ = nullptr;
    Declaration* unused_ = nullptr;
    std::uint32_t element_number_ = 0;
    const char* refusal_ = nullptr;
};

}  // namespace ZTKPosix::dom
