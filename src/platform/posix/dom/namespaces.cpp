#include "platform/posix/dom/namespaces.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "platform/posix/dom/text.h"
#include "text/ascii.h"

namespace ZTKPosix::dom {

namespace {

constexpr char kUndeclared[] = "a prefix is not declared";
constexpr char kReserved[] = "a reserved prefix or address is declared";

constexpr std::string_view kDataTypes = "urn:schemas-microsoft-com:datatypes";
constexpr std::string_view kXmlAddress = "http://www.w3.org/XML/1998/namespace";
constexpr std::string_view kDeclarationsAddress = "http://www.w3.org/2000/xmlns/";

// Whether a name may begin with c, which may stand within one.
bool CanBeginName(wchar_t c) noexcept {
    return !ZTK::ascii::IsDigit(c) && c != L'-' && c != L'.' && c != L'\x00B7' &&
           (c < L'\x0300' || c > L'\x036F');
}

}  // namespace

Namespaces::Namespaces(Arena& arena) noexcept
    : arena_(arena), prefixes_(arena), addresses_(arena), locals_(arena), expanded_(arena) {
    xml_.address = &xml_address_;
}

bool Namespaces::Classify(Name& name) noexcept {
    const wchar_t* const text = name.Text();
    const wchar_t* const end = text + name.length;
    const wchar_t* const colon = std::find(text, end, L':');
    const auto length = static_cast<std::size_t>(colon - text);
    if (EqualsAscii(text, length, "xmlns")) {
        name.prefix = &declarations_;
    } else if (colon == end) {
        name.prefix = &none_;
    } else if (EqualsAscii(text, length, "xml")) {
        name.prefix = &xml_;
    } else {
        name.prefix = prefixes_.Intern(text, length);
    }
    if (colon != end && (colon == text || colon + 1 == end || !CanBeginName(colon[1]) ||
                         std::find(colon + 1, end, L':') != end)) {
        return Refuse("a name has a colon where none may stand");
    }
    return name.prefix != nullptr;
}

Namespaces::Kind Namespaces::KindOf(const Name& name) const noexcept {
    const Prefix& prefix = *name.prefix;
    if (&prefix == &xml_) {
        return EqualsAscii(name.Text(), name.length, "xml:space") ? Kind::kSpace : Kind::kOther;
    }
    const std::size_t start = prefix.length + 1;
    const bool declares = prefix.address != nullptr && prefix.address->is_data_types &&
                          EqualsAscii(name.Text() + start, name.length - start, "dt");
    return declares ? Kind::kType : Kind::kOther;
}

bool Namespaces::Enter(const Element& element) noexcept {
    const Attribute* const begin = element.attributes;
    const Attribute* const end = begin + element.attribute_count;
    for (const Attribute* each = begin; each != end; ++each) {
        if (each->name->prefix == &declarations_ && !Declare(element, *each)) {
            return false;
        }
    }
    // An element may have the plain name "xmlns".
    const Name& name = *element.name;
    if (!IsPlain(name) && name.prefix->address == nullptr &&
        !EqualsAscii(name.Text(), name.length, "xmlns")) {
        return Refuse(kUndeclared);
    }
    ++element_number_;
    for (const Attribute* each = begin; each != end; ++each) {
        const Prefix* const prefix = each->name->prefix;
        if (prefix == &none_ || prefix == &declarations_) {
            continue;
        }
        if (prefix->address == nullptr) {
            return Refuse(kUndeclared);
        }
        // The parser has seen to it that no attribute stands there twice. It can do so all the same
        // if two prefixes stand for one address.
        if (prefix->address->prefixes > 1 && !IsUnique(*each->name)) {
            return false;
        }
    }
    return true;
}

// An attribute "xmlns" or "xmlns:prefix". What names without a prefix stand for is of no
// consequence here.
bool Namespaces::Declare(const Element& element, const Attribute& attribute) noexcept {
    constexpr std::size_t kMark = 6;  // characters of "xmlns:"
    const wchar_t* const address = attribute.value->Characters();
    const std::size_t address_length = attribute.value->length;
    const bool is_xml = EqualsAscii(address, address_length, kXmlAddress);
    const bool is_reserved = is_xml || EqualsAscii(address, address_length, kDeclarationsAddress);
    const Name& name = *attribute.name;
    if (name.length < kMark) {
        return !is_reserved || Refuse(kReserved);
    }
    const wchar_t* const prefix_text = name.Text() + kMark;
    const std::size_t prefix_length = name.length - kMark;
    if (EqualsAscii(prefix_text, prefix_length, "xml")) {
        return is_xml || Refuse(kReserved);
    }
    if (is_reserved || address_length == 0 || EqualsAscii(prefix_text, prefix_length, "xmlns")) {
        return Refuse(address_length == 0 ? "a prefix is declared without an address" : kReserved);
    }
    Prefix* const prefix = prefixes_.Intern(prefix_text, prefix_length);
    Address* const known = addresses_.Intern(address, address_length);
    if (prefix == nullptr || known == nullptr) {
        return false;
    }
    known->is_data_types = EqualsAscii(address, address_length, kDataTypes);
    return Bind(element, *prefix, *known);
}

bool Namespaces::Bind(const Element& element, Prefix& prefix, Address& address) noexcept {
    Declaration* declaration = unused_;
    if (declaration != nullptr) {
        unused_ = declaration->previous;
    } else {
        declaration = static_cast<Declaration*>(arena_.Allocate(sizeof(Declaration)));
        if (declaration == nullptr) {
            return false;
        }
    }
    *declaration = {last_, &element, &prefix, prefix.address};
    last_ = declaration;
    if (prefix.address != nullptr) {
        --prefix.address->prefixes;
    }
    prefix.address = &address;
    ++address.prefixes;
    return true;
}

void Namespaces::Undo() noexcept {
    Declaration& declaration = *last_;
    Prefix& prefix = *declaration.prefix;
    --prefix.address->prefixes;
    prefix.address = declaration.before;
    if (prefix.address != nullptr) {
        ++prefix.address->prefixes;
    }
    last_ = declaration.previous;
    declaration.previous = unused_;
    unused_ = &declaration;
}

// Whether the element that begins has no other attribute of that local name and address. False for
// a lack of memory, too.
bool Namespaces::IsUnique(const Name& attribute) noexcept {
    const std::size_t start = attribute.prefix->length + 1;
    const Label* const local = locals_.Intern(attribute.Text() + start, attribute.length - start);
    if (local == nullptr) {
        return false;
    }
    // Both are kept once each, so that their places in memory stand for them.
    const void* const parts[] = {attribute.prefix->address, local};
    wchar_t key[sizeof(parts) / (sizeof(wchar_t))];
    std::memcpy(key, parts, sizeof parts);
    Label* const expanded = expanded_.Intern(key, std::size(key));
    if (expanded == nullptr) {
        return false;
    }
    if (expanded->seen_in == element_number_) {
        return Refuse("an element has an attribute twice, under two prefixes of one address");
    }
    expanded->seen_in = element_number_;
    return true;
}

}  // namespace ZTKPosix::dom
