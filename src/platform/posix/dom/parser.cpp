// Expat reads the text; this feeds it and passes on what it reports.
#include "platform/posix/dom/parser.h"

#include <expat.h>

#include <algorithm>
#include <climits>
#include <cstring>

#include "platform/memory/allocation.h"
#include "platform/posix/dom/builder.h"
#include "platform/posix/dom/entities.h"
#include "platform/posix/dom/external.h"
#include "platform/posix/dom/text.h"

namespace ZTKPosix::dom {

namespace {

static_assert(sizeof(XML_Char) == 1, "the parser on the machine speaks UTF-8");

// The most memory that a tree may take, in bytes: so many for each character of the text, and so
// many in addition. Defaults and entities cannot make a small text grow without end. Even the text
// that makes the most nodes for its size takes about half of it.
constexpr std::size_t kTreeBytesPerCharacter = 64;
constexpr std::size_t kTreeBytes = std::size_t{64} << 20;

// The parser compares each declared default with the others of its element.
constexpr unsigned kMostDeclaredAttributes = 65536;

constexpr unsigned kDeepestFile = 16;
constexpr unsigned kMostFiles = 1000;
constexpr std::size_t kFileBytes = std::size_t{16} << 20;
constexpr std::size_t kAllFilesBytes = std::size_t{64} << 20;

// What expat gets as its user data.
struct Load {
    Load(Tree& tree, const LoadOptions& load_options) noexcept
        : options(load_options), builder(tree), entities(tree.names), arena(tree.arena) {}

    const LoadOptions& options;
    TreeBuilder builder;
    EntityDepths entities;
    Arena& arena;
    XML_Parser parser = nullptr;  // the one at work: the document's or an external definition's
    LoadResult result = LoadResult::kLoaded;
    bool in_dtd = false;
    unsigned declared_attributes = 0;
    unsigned file_depth = 0;
    unsigned files = 0;
    std::size_t file_bytes = 0;

    void Stop(LoadResult reason) noexcept {
        if (result == LoadResult::kLoaded) {
            result = reason;
        }
        XML_StopParser(parser, XML_FALSE);
    }
    void StopUnless(bool taken) noexcept {
        if (!taken) {
            Stop(arena.LimitReached() ? LoadResult::kRefused : LoadResult::kNoMemory);
        }
    }
};

Load& LoadOf(void* user_data) noexcept {
    return *static_cast<Load*>(user_data);
}

extern "C" {

static void OnStartElement(void* data, const char* name, const char** attributes) {
    Load& load = LoadOf(data);
    load.StopUnless(load.builder.StartElement(name, attributes));
}

static void OnEndElement(void* data, const char* /*name*/) {
    LoadOf(data).builder.EndElement();
}

static void OnNamespace(void* data, const char* prefix, const char* address) {
    Load& load = LoadOf(data);
    load.StopUnless(load.builder.DeclareNamespace(prefix, address));
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
        LoadOf(data).Stop(LoadResult::kRefused);
    }
}

static void OnStartDocumentType(void* data, const char* name, const char* /*system_id*/,
                                const char* /*public_id*/, int /*has_internal_subset*/) {
    Load& load = LoadOf(data);
    if (load.options.prohibit_dtd) {
        load.Stop(LoadResult::kRefused);
        return;
    }
    load.StopUnless(load.builder.DocumentType(name));
    load.in_dtd = true;
}

static void OnEndDocumentType(void* data) {
    LoadOf(data).in_dtd = false;
}

static void OnEntity(void* data, const char* name, int is_parameter, const char* text, int length,
                     const char* /*base*/, const char* /*system_id*/, const char* /*public_id*/,
                     const char* /*notation*/) {
    Load& load = LoadOf(data);
    if (load.entities.Declare(name, is_parameter != 0, text, static_cast<std::size_t>(length))) {
        return;
    }
    if (load.entities.Refused()) {
        load.Stop(LoadResult::kRefused);
    } else {
        load.StopUnless(false);
    }
}

static void OnDeclaredAttribute(void* data, const char* /*element*/, const char* /*name*/,
                                const char* /*type*/, const char* /*value*/, int /*required*/) {
    Load& load = LoadOf(data);
    if (++load.declared_attributes > kMostDeclaredAttributes) {
        load.Stop(LoadResult::kRefused);
    }
}

static int OnExternal(XML_Parser parser, const char* context, const char* base,
                      const char* system_id, const char* public_id);

}  // extern "C"

// Set when the parser was refused memory. Its error code does not always say so: short of memory
// within a declaration it may report a fault of the text instead. A request does not tell which
// load it is for, but a load stays on its thread.
constinit thread_local bool parser_lacked_memory = false;

void* NoteRefusal(void* block) noexcept {
    parser_lacked_memory = parser_lacked_memory || block == nullptr;
    return block;
}

const XML_Memory_Handling_Suite kMemory = {
    [](std::size_t bytes) { return NoteRefusal(ZTK::allocation::RuntimeAlloc(bytes)); },
    [](void* block, std::size_t bytes) {
        return NoteRefusal(ZTK::allocation::RuntimeRealloc(block, bytes));
    },
    ZTK::allocation::RuntimeFree};

class Parser {
  public:
    explicit Parser(XML_Parser parser) noexcept : parser_(parser) {}
    Parser(const Parser&) = delete;
    Parser& operator=(const Parser&) = delete;
    ~Parser() {
        if (parser_ != nullptr) {
            XML_ParserFree(parser_);
        }
    }
    [[nodiscard]] XML_Parser Get() const noexcept { return parser_; }

  private:
    XML_Parser parser_;
};

void SetHandlers(XML_Parser parser, Load& load) noexcept {
    XML_SetUserData(parser, &load);
    XML_SetReturnNSTriplet(parser, 1);
    XML_SetElementHandler(parser, OnStartElement, OnEndElement);
    XML_SetStartNamespaceDeclHandler(parser, OnNamespace);
    XML_SetCharacterDataHandler(parser, OnCharacters);
    XML_SetCdataSectionHandler(parser, OnStartCdata, OnEndCdata);
    XML_SetCommentHandler(parser, OnComment);
    XML_SetProcessingInstructionHandler(parser, OnInstruction);
    XML_SetXmlDeclHandler(parser, OnDeclaration);
    XML_SetDoctypeDeclHandler(parser, OnStartDocumentType, OnEndDocumentType);
    XML_SetEntityDeclHandler(parser, OnEntity);
    XML_SetAttlistDeclHandler(parser, OnDeclaredAttribute);
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
    return XML_ParseBuffer(parser, static_cast<int>(length), XML_TRUE) == XML_STATUS_OK;
}

bool ParseExternal(Load& load, const char* context, const char* path) noexcept {
    const XML_Parser outer = load.parser;
    const Parser parser(XML_ExternalEntityParserCreate(outer, context, nullptr));
    if (parser.Get() == nullptr || XML_SetBase(parser.Get(), path) != XML_STATUS_OK) {
        load.Stop(LoadResult::kNoMemory);
        return false;
    }
    load.parser = parser.Get();
    ++load.file_depth;
    const bool parsed = ParseFile(load, parser.Get(), path);
    --load.file_depth;
    load.parser = outer;
    return parsed;
}

// Anything but XML_STATUS_OK makes the load fail.
int OnExternal(XML_Parser parser, const char* context, const char* base, const char* system_id,
               const char* /*public_id*/) {
    Load& load = LoadOf(XML_GetUserData(parser));
    if (!ExternalsAllowed()) {
        return XML_STATUS_ERROR;
    }
    if (!load.options.resolve_externals) {
        return XML_STATUS_OK;
    }
    if (system_id == nullptr || load.file_depth == kDeepestFile || ++load.files > kMostFiles) {
        return XML_STATUS_ERROR;
    }
    char* const path = ResolveLocalFile(system_id, base);
    if (path == nullptr) {
        return XML_STATUS_ERROR;
    }
    const bool parsed = ParseExternal(load, context, path);
    ZTK::allocation::RuntimeFree(path);
    return parsed ? XML_STATUS_OK : XML_STATUS_ERROR;
}

// Gives the parser all of text in pieces. A token that a piece cuts is kept by the parser and
// looked at again from its start with the next one: pieces grow with it, or a long token would take
// quadratic time.
void FeedText(Load& load, const wchar_t* text, std::size_t length) noexcept {
    const XML_Parser parser = load.parser;
    const wchar_t* const end = text + length;
    std::size_t piece = 32 * 1024;
    XML_Index fed = 0;
    bool last = false;
    while (!last && load.result == LoadResult::kLoaded) {
        const std::size_t units = std::min(piece, static_cast<std::size_t>(end - text));
        last = units == static_cast<std::size_t>(end - text);
        void* const buffer = XML_GetBuffer(parser, static_cast<int>(units * 3 + 1));
        if (buffer == nullptr) {
            load.Stop(LoadResult::kNoMemory);
            return;
        }
        const wchar_t* const piece_end = text + units;
        char* const narrow_end = NarrowUtf16(text, piece_end, static_cast<char*>(buffer));
        if (narrow_end == nullptr || (last && text != end)) {
            load.Stop(LoadResult::kRefused);
            return;
        }
        const auto bytes = narrow_end - static_cast<char*>(buffer);
        fed += static_cast<XML_Index>(bytes);
        if (XML_ParseBuffer(parser, static_cast<int>(bytes), last ? XML_TRUE : XML_FALSE) !=
            XML_STATUS_OK) {
            load.Stop(LoadResult::kRefused);
            return;
        }
        constexpr std::size_t kLargestPiece = INT_MAX / 8;
        const XML_Index kept = fed - XML_GetCurrentByteIndex(parser);
        if (kept > static_cast<XML_Index>(piece / 2)) {
            piece = std::min(piece * 2, kLargestPiece);
        }
    }
}

}  // namespace

LoadResult LoadTree(Tree& tree, const wchar_t* text, std::size_t length,
                    const LoadOptions& options) noexcept {
    const char separator[] = {kNameSeparator, '\0'};
    // The encoding is given because the text's own declaration does not describe what is fed here.
    parser_lacked_memory = false;
    const Parser parser(XML_ParserCreate_MM("UTF-8", &kMemory, separator));
    if (parser.Get() == nullptr) {
        return LoadResult::kNoMemory;
    }
    tree.arena.SetLimit(length * kTreeBytesPerCharacter + kTreeBytes);
    Load load(tree, options);
    load.parser = parser.Get();
    SetHandlers(parser.Get(), load);
    FeedText(load, text, length);
    return load.result == LoadResult::kRefused && parser_lacked_memory ? LoadResult::kNoMemory
                                                                       : load.result;
}

}  // namespace ZTKPosix::dom
