// Expat reads the text; this feeds it and passes on what it reports.
#include "platform/posix/dom/parser.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <string_view>

#include "platform/memory/allocation.h"
#include "platform/posix/dom/builder.h"
#include "platform/posix/dom/entities.h"
#include "platform/posix/dom/external.h"
#include "platform/posix/dom/kept_parser.h"
#include "platform/posix/dom/text.h"
#include "platform/posix/text/unicode.h"
#include "platform/posix/text/vector_text.h"

namespace ZTKPosix::dom {

namespace {

// The most memory that a tree may take, in bytes: so many for each character of the text, and so
// many in addition. Defaults and entities cannot make a small text grow without end. Even the text
// that makes the most nodes for its size takes about half of it.
constexpr std::size_t kTreeBytesPerCharacter = 64;
constexpr std::size_t kTreeBytes = std::size_t{64} << 20;

// The most work that a load may be made to do beyond reading the text once, counted in steps of
// about a nanosecond: so many for each character, and so many in addition.
constexpr std::uint64_t kStepsPerCharacter = 128;
constexpr std::uint64_t kSteps = std::uint64_t{64} << 20;

// What the parser does besides: visits each declared attribute in each element of the name, and
// again for each attribute that stands there; copies all definitions and names for each external
// entity, or at least looks at each definition.
constexpr std::uint64_t kStepsToCopy = 256;
constexpr std::uint64_t kStepsToCopyCharacter = 8;
constexpr std::uint64_t kStepsToLookAtEntity = 8;

// Entities may make this times the bytes of the text, or kExpandedBytes. Expanding takes the parser
// long, most of all where it comes to nothing.
constexpr float kExpansion = 8;
constexpr unsigned long long kExpandedBytes = 8 << 20;

// The characters that the parser gets at once. In UTF-8 they take one to three bytes each, beside
// the text and the tree; see FeedText for why it is worth that.
constexpr std::size_t kPiece = std::size_t{16} << 20;

constexpr char kHalfPair[] = "half of a surrogate pair stands alone";

constexpr unsigned kDeepestFile = 16;
constexpr unsigned kMostFiles = 1000;
constexpr std::size_t kFileBytes = std::size_t{16} << 20;
constexpr std::size_t kAllFilesBytes = std::size_t{64} << 20;

// What expat gets as its user data.
struct Load {
    Load(Tree& filled_tree, std::size_t length, const LoadOptions& load_options,
         XML_Parser document_parser) noexcept
        : options(load_options),
          tree(filled_tree),
          root(document_parser),
          parser(document_parser),
          steps_left(kSteps) {
        const std::size_t limit = length * kTreeBytesPerCharacter + kTreeBytes;
        tree.arena.SetLimit(limit);
        notes.SetLimit(limit);
        AllowStepsFor(length);
    }

    const LoadOptions& options;
    Tree& tree;
    Arena notes{4096};  // what is kept until the end of the load
    TreeBuilder builder{tree, notes};
    Entities entities{notes};
    const XML_Parser root;
    XML_Parser parser;  // the one at work: the root or that of an external definition
    LoadResult result = LoadResult::kLoaded;
    Refusal refusal{};
    bool has_document_type = false;
    bool in_dtd = false;
    // Set when there are definitions from which the parser concludes that others may exist that it
    // does not see.
    bool undeclared_may_pass = false;
    XML_Index checked_reference = -1;  // the place of the start tag or reference looked at last
    unsigned file_depth = 0;
    unsigned files = 0;
    std::size_t file_bytes = 0;
    std::uint64_t steps_left;
    std::uint64_t declared_entities = 0;
    std::uint64_t declared_attributes = 0;
    std::uint64_t declared_bytes = 0;  // names and texts of entities and of defaults

    void Stop(LoadResult failure) noexcept {
        if (result == LoadResult::kLoaded) {
            result = failure;
        }
        XML_StopParser(parser, XML_FALSE);
    }
    // The first reason is kept, at the place where the document's own text is read: what is refused
    // in an entity or a file shows in the parsers around it, too.
    void Note(const char* reason) noexcept {
        if (refusal.reason == nullptr && result == LoadResult::kLoaded) {
            refusal = {reason, XML_GetCurrentLineNumber(root),
                       XML_GetCurrentColumnNumber(root) + 1};
        }
    }
    void Refuse(const char* reason) noexcept {
        Note(reason);
        Stop(LoadResult::kRefused);
    }
    void StopUnless(bool taken) noexcept {
        if (taken) {
            return;
        }
        if (builder.Refusal() != nullptr) {
            Refuse(builder.Refusal());
        } else if (entities.Refusal() != nullptr) {
            Refuse(entities.Refusal());
        } else if (tree.arena.LimitReached() || notes.LimitReached()) {
            Refuse("the document would take too much memory");
        } else {
            Stop(LoadResult::kNoMemory);
        }
    }

    // Files are not the expansion of what names them.
    void AllowExpansion() const noexcept {
        XML_SetBillionLaughsAttackProtectionActivationThreshold(root, kExpandedBytes + file_bytes);
    }
    void AllowStepsFor(std::size_t length) noexcept { steps_left += length * kStepsPerCharacter; }
    void CountSteps(std::uint64_t steps) noexcept {
        if (steps > steps_left) {
            Refuse("the definitions make too much work");
        } else {
            steps_left -= steps;
        }
    }

    // How long the parser takes to copy what it knows by name.
    [[nodiscard]] std::uint64_t StepsToCopyAll() const noexcept {
        return (tree.names.Count() + declared_entities + declared_attributes) * kStepsToCopy +
               (tree.names.Characters() + declared_bytes) * kStepsToCopyCharacter;
    }
};

Load& LoadOf(void* user_data) noexcept {
    return *static_cast<Load*>(user_data);
}

// What the parser holds of the text from the place that it reports: what it reports, and from where
// that ends. Empty when it does not tell.
struct Place {
    explicit Place(XML_Parser parser) noexcept {
        int offset = 0;
        int size = 0;
        const char* const text = XML_GetInputContext(parser, &offset, &size);
        const int length = XML_GetCurrentByteCount(parser);
        if (text != nullptr && length >= 0 && offset + length <= size) {
            reported = {text + offset, static_cast<std::size_t>(length)};
            rest = {text + offset + length, static_cast<std::size_t>(size - offset - length)};
        }
    }
    std::string_view reported;
    std::string_view rest;
};

bool IsAscii(std::string_view text) noexcept {
    return std::all_of(text.begin(), text.end(), [](char c) { return c > 0; });
}

// Stops a load in which an attribute's value refers to an entity that is declared nowhere: the
// parser leaves that out of the value without a word. Looks at the document's or a file's own text
// only, the start tag or the default's quoted text. In what an entity expands to, the start tag
// that is reported is the reference to the entity. A default in a parameter entity is not seen.
void StopAtUndeclared(Load& load, bool is_default) noexcept {
    if (!load.undeclared_may_pass) {
        return;
    }
    const XML_Index index = XML_GetCurrentByteIndex(load.parser);
    if (!is_default && index == load.checked_reference) {
        return;
    }
    const Place place(load.parser);
    std::string_view text = place.reported;
    load.checked_reference = index;
    if (is_default) {
        const bool is_quoted =
            !place.rest.empty() && (place.rest[0] == '"' || place.rest[0] == '\'');
        text = is_quoted ? place.rest.substr(0, place.rest.find(place.rest[0], 1)) : "";
    }
    // A file has an encoding of its own.
    if (load.file_depth == 0 || IsAscii(text)) {
        load.StopUnless(load.entities.AreDeclared(text));
    }
}

extern "C" {

static void OnStartElement(void* data, const char* name, const char** attributes) {
    Load& load = LoadOf(data);
    const Name* const element = load.builder.StartElement(name, attributes);
    load.StopUnless(element != nullptr);
    if (element == nullptr) {
        return;
    }
    if (element->declared_attributes != 0) {
        const auto given = static_cast<unsigned>(XML_GetSpecifiedAttributeCount(load.parser)) / 2;
        load.CountSteps(std::uint64_t{element->declared_attributes} * (given + 1) +
                        element->default_bytes);
    }
    if (attributes[0] != nullptr) {
        StopAtUndeclared(load, false);
    }
}

static void OnEndElement(void* data, const char* /*name*/) {
    LoadOf(data).builder.EndElement();
}

static void OnCharacters(void* data, const char* text, int length) {
    Load& load = LoadOf(data);
    load.StopUnless(load.builder.Characters(text, static_cast<std::size_t>(length)));
}

static void OnStartCdata(void* data) {
    Load& load = LoadOf(data);
    load.StopUnless(load.builder.StartCdata());
}

static void OnEndCdata(void* data) {
    LoadOf(data).builder.EndCdata();
}

static void OnComment(void* data, const char* text) {
    Load& load = LoadOf(data);
    load.StopUnless(load.in_dtd || load.builder.Comment(text));
}

static void OnInstruction(void* data, const char* target, const char* text) {
    Load& load = LoadOf(data);
    load.StopUnless(load.in_dtd || load.builder.Instruction(target, text));
}

// Called for the declaration at the start of an external definition, too; that may leave the
// version out.
static void OnDeclaration(void* data, const char* version, const char* /*encoding*/,
                          int /*standalone*/) {
    if (version != nullptr && std::strcmp(version, "1.0") != 0) {
        LoadOf(data).Refuse("the version of XML is not 1.0");
    }
}

static void OnStartDocumentType(void* data, const char* name, const char* system_id,
                                const char* /*public_id*/, int /*has_internal_subset*/) {
    Load& load = LoadOf(data);
    if (load.options.prohibit_dtd) {
        load.Refuse("a document type definition is prohibited");
        return;
    }
    load.StopUnless(load.builder.DocumentType(name));
    load.has_document_type = true;
    load.in_dtd = true;
    load.undeclared_may_pass = system_id != nullptr;
}

static void OnEndDocumentType(void* data) {
    LoadOf(data).in_dtd = false;
}

static void OnEntity(void* data, const char* name, int is_parameter, const char* text, int length,
                     const char* /*base*/, const char* /*system_id*/, const char* /*public_id*/,
                     const char* /*notation*/) {
    Load& load = LoadOf(data);
    const std::uint64_t visits = load.entities.Visits();
    load.StopUnless(
        load.entities.Declare(name, is_parameter != 0, text, static_cast<std::size_t>(length)));
    load.CountSteps((load.entities.Visits() - visits) * kStepsToLookAtEntity);
    load.undeclared_may_pass = load.undeclared_may_pass || is_parameter != 0;
    ++load.declared_entities;
    load.declared_bytes += std::strlen(name) + static_cast<std::size_t>(length);
}

static void OnDeclaredAttribute(void* data, const char* element, const char* name,
                                const char* /*type*/, const char* value, int /*required*/) {
    Load& load = LoadOf(data);
    Name* const owner = load.builder.InternName(element);
    load.StopUnless(owner != nullptr);
    if (owner == nullptr) {
        return;
    }
    // The parser compares the attribute with those before it.
    load.CountSteps(++owner->declared_attributes + owner->length);
    ++load.declared_attributes;
    if (value != nullptr) {
        const std::size_t bytes = std::strlen(name) + std::strlen(value);
        owner->default_bytes = static_cast<std::uint32_t>(
            std::min<std::size_t>(owner->default_bytes + bytes, UINT32_MAX));
        load.declared_bytes += bytes;
        StopAtUndeclared(load, true);
    }
}

// An entity that is declared nowhere, which the parser takes for declared somewhere else after a
// reference to a parameter entity.
static void OnSkippedEntity(void* data, const char* /*name*/, int /*is_parameter*/) {
    LoadOf(data).Refuse("an entity is declared nowhere");
}

static int OnExternal(XML_Parser parser, const char* context, const char* base,
                      const char* system_id, const char* public_id);

}  // extern "C"

// The parser of an external definition.
class ExternalParser {
  public:
    ExternalParser(XML_Parser outer, const char* context) noexcept
        : parser_(XML_ExternalEntityParserCreate(outer, context, nullptr)) {}
    ExternalParser(const ExternalParser&) = delete;
    ExternalParser& operator=(const ExternalParser&) = delete;
    ~ExternalParser() {
        if (parser_ != nullptr) {
            XML_ParserFree(parser_);
        }
    }
    // Null when memory is short.
    [[nodiscard]] XML_Parser Get() const noexcept { return parser_; }

  private:
    const XML_Parser parser_;
};

void SetHandlers(XML_Parser parser, Load& load) noexcept {
    XML_SetUserData(parser, &load);
    XML_SetElementHandler(parser, OnStartElement, OnEndElement);
    XML_SetCharacterDataHandler(parser, OnCharacters);
    XML_SetCdataSectionHandler(parser, OnStartCdata, OnEndCdata);
    XML_SetCommentHandler(parser, OnComment);
    XML_SetProcessingInstructionHandler(parser, OnInstruction);
    XML_SetXmlDeclHandler(parser, OnDeclaration);
    XML_SetDoctypeDeclHandler(parser, OnStartDocumentType, OnEndDocumentType);
    XML_SetEntityDeclHandler(parser, OnEntity);
    XML_SetAttlistDeclHandler(parser, OnDeclaredAttribute);
    XML_SetSkippedEntityHandler(parser, OnSkippedEntity);
    XML_SetExternalEntityRefHandler(parser, OnExternal);
    XML_SetParamEntityParsing(parser, XML_PARAM_ENTITY_PARSING_ALWAYS);
}

// Reads a file into the parser in one piece. False when it cannot be read, is too large or is not
// well-formed.
bool ParseFile(Load& load, XML_Parser parser, const char* path) noexcept {
    LocalFile file(path);
    if (!file.IsOpen() || file.Size() > kFileBytes ||
        file.Size() > kAllFilesBytes - load.file_bytes) {
        return false;
    }
    // One byte more shows a file that has grown meanwhile.
    const std::size_t capacity = file.Size() + 1;
    void* const buffer = XML_GetBuffer(parser, static_cast<int>(capacity));
    if (buffer == nullptr) {
        load.Stop(LoadResult::kNoMemory);
        return false;
    }
    std::size_t length = 0;
    if (!file.Read(static_cast<char*>(buffer), capacity, length) || length == capacity) {
        return false;
    }
    load.file_bytes += length;
    load.AllowStepsFor(length);
    load.AllowExpansion();
    return XML_ParseBuffer(parser, static_cast<int>(length), XML_TRUE) == XML_STATUS_OK;
}

bool ParseExternal(Load& load, const char* context, const char* path) noexcept {
    const XML_Parser outer = load.parser;
    const ExternalParser parser(outer, context);
    if (parser.Get() == nullptr || XML_SetBase(parser.Get(), path) != XML_STATUS_OK) {
        load.Stop(LoadResult::kNoMemory);
        return false;
    }
    load.parser = parser.Get();
    load.checked_reference = -1;
    ++load.file_depth;
    const bool parsed = ParseFile(load, parser.Get(), path);
    load.builder.ForgetParser();
    --load.file_depth;
    load.checked_reference = -1;
    load.parser = outer;
    return parsed;
}

bool TakeExternal(Load& load, const char* context, const char* base,
                  const char* system_id) noexcept {
    // Each file may nest entities anew.
    const bool too_deep = load.file_depth == kDeepestFile ||
                          load.file_depth * load.entities.Deepest() >= Entities::kDeepest;
    if (system_id == nullptr || too_deep || ++load.files > kMostFiles) {
        return false;
    }
    bool no_memory = false;
    char* const path = ResolveLocalFile(system_id, base, no_memory);
    if (no_memory) {
        load.Stop(LoadResult::kNoMemory);
    }
    const bool parsed = path != nullptr && ParseExternal(load, context, path);
    ZTK::allocation::RuntimeFree(path);
    return parsed;
}

// A context is given for a general entity. Anything but XML_STATUS_OK makes the load fail.
int OnExternal(XML_Parser parser, const char* context, const char* base, const char* system_id,
               const char* /*public_id*/) {
    Load& load = LoadOf(XML_GetUserData(parser));
    const bool resolves = load.options.resolve_externals;
    if (context != nullptr) {
        load.CountSteps(resolves ? load.StepsToCopyAll()
                                 : load.declared_entities * kStepsToLookAtEntity);
    }
    const bool taken = ExternalsAllowed() && load.result == LoadResult::kLoaded &&
                       (!resolves || TakeExternal(load, context, base, system_id));
    if (!taken) {
        load.Note(ExternalsAllowed() ? "an external definition cannot be read as XML"
                                     : "external definitions are forbidden");
    }
    return taken ? XML_STATUS_OK : XML_STATUS_ERROR;
}

// Gives the parser all of text, in pieces if it is very long. The parser goes through each piece
// but the last a second time, to count lines, so a text of any usual size is one piece. A token
// that a piece cuts is kept by the parser and looked at again from its start with the next one:
// pieces grow with it, or a long token would take quadratic time.
void FeedText(Load& load, const wchar_t* text, std::size_t length) noexcept {
    const XML_Parser parser = load.parser;
    const wchar_t* const end = text + length;
    std::size_t piece = kPiece;
    XML_Index fed = 0;
    bool last = false;
    while (!last && load.result == LoadResult::kLoaded) {
        const std::size_t units = std::min(piece, static_cast<std::size_t>(end - text));
        last = units == static_cast<std::size_t>(end - text);
        // Exact for most texts: the heap keeps a small block for the next document. Of a large one
        // only what is written takes memory.
        constexpr std::size_t kSmall = std::size_t{1} << 20;
        const std::size_t ascii = units <= kSmall ? FindUnit(text, units, NonAsciiUnit()) : 0;
        const std::size_t room = ascii + (units - ascii) * 3 + 1;
        void* const buffer = XML_GetBuffer(parser, static_cast<int>(room));
        if (buffer == nullptr) {
            load.Stop(LoadResult::kNoMemory);
            return;
        }
        const wchar_t* const piece_end = text + units;
        char* const narrow_end = NarrowUtf16(text, piece_end, static_cast<char*>(buffer));
        if (narrow_end == nullptr || (last && text != end)) {
            load.Refuse(kHalfPair);
            return;
        }
        const auto bytes = narrow_end - static_cast<char*>(buffer);
        fed += static_cast<XML_Index>(bytes);
        if (XML_ParseBuffer(parser, static_cast<int>(bytes), last ? XML_TRUE : XML_FALSE) !=
            XML_STATUS_OK) {
            load.Refuse(XML_ErrorString(XML_GetErrorCode(parser)));
            return;
        }
        constexpr std::size_t kLargestPiece = INT_MAX / 8;
        const XML_Index kept = fed - XML_GetCurrentByteIndex(parser);
        if (kept > static_cast<XML_Index>(piece / 2)) {
            piece = std::min(piece * 2, kLargestPiece);
        }
    }
}

// Where half of a surrogate pair stands alone, which the parser never gets to see.
Refusal FindHalfPair(const wchar_t* text, const wchar_t* end) noexcept {
    Refusal refusal = {kHalfPair, 1, 1};
    while (text != end) {
        const wchar_t unit = *text;
        if (ZTK::unicode::TakeCharacter(text, end) == ZTK::unicode::kReplacement &&
            unit != ZTK::unicode::kReplacement) {
            break;
        }
        const bool ends_line = unit == L'\n' || (unit == L'\r' && (text == end || *text != L'\n'));
        refusal.line += ends_line ? 1 : 0;
        refusal.column = ends_line ? 1 : refusal.column + 1;
    }
    return refusal;
}

Refusal RefusalOf(const Load& load, const wchar_t* text, std::size_t length) noexcept {
    constexpr wchar_t kByteOrderMark = 0xFEFF;
    Refusal refusal =
        load.refusal.reason == kHalfPair ? FindHalfPair(text, text + length) : load.refusal;
    if (length != 0 && *text == kByteOrderMark && refusal.line == 1 && refusal.column > 1) {
        --refusal.column;  // the mark is no part of the line
    }
    return refusal;
}

}  // namespace

LoadResult LoadTree(Tree& tree, const wchar_t* text, std::size_t length, const LoadOptions& options,
                    Refusal& refusal) noexcept {
    BorrowedParser parser;
    if (parser.Get() == nullptr) {
        return LoadResult::kNoMemory;
    }
    Load load(tree, length, options, parser.Get());
    SetHandlers(parser.Get(), load);
    XML_SetBillionLaughsAttackProtectionMaximumAmplification(parser.Get(), kExpansion);
    load.AllowExpansion();
    FeedText(load, text, length);
    if (load.result == LoadResult::kRefused && BorrowedParser::LackedMemory()) {
        return LoadResult::kNoMemory;
    }
    if (load.result == LoadResult::kRefused) {
        refusal = RefusalOf(load, text, length);
    }
    if (load.result == LoadResult::kLoaded && !load.has_document_type) {
        parser.KeepAfter(length);
    }
    return load.result;
}

}  // namespace ZTKPosix::dom
