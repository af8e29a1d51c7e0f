// What only the layer's COM and DOM promise, and what the library's XML classes cannot reach of
// them.
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "support/refuse_each.h"
#include "support/text.h"
#include "support/xml.h"
#include "ztk/platform/com.h"

namespace {

using MSXML2::IXMLDOMDocument2;
using MSXML2::IXMLDOMDocument2Ptr;
using MSXML2::IXMLDOMElementPtr;
using MSXML2::IXMLDOMNamedNodeMapPtr;
using MSXML2::IXMLDOMNodePtr;
using ztk_test::Raised;

constexpr wchar_t kVersion6[] = L"Msxml2.DOMDocument.6.0";
constexpr wchar_t kVersion4[] = L"Msxml2.DOMDocument.4.0";

_bstr_t Widen(const std::string& text) {
    return text.c_str();
}

// COM on this thread, and the check that nothing stays behind.
class DomTest : public testing::Test {
  protected:
    DomTest() { CoInitialize(nullptr); }
    ~DomTest() override {
        CoUninitialize();
        EXPECT_EQ(ZTKPosix::LiveComObjects(), 0u);
        EXPECT_EQ(ZTKPosix::LiveBstrs(), 0u);
    }

    static IXMLDOMDocument2Ptr Make(const wchar_t* prog_id = kVersion4) {
        IXMLDOMDocument2Ptr document;
        EXPECT_EQ(document.CreateInstance(prog_id), S_OK);
        return document;
    }
    static bool Load(const IXMLDOMDocument2Ptr& document, const std::string& text) {
        VARIANT_BOOL loaded = 7;
        const HRESULT result = document->loadXML(Widen(text), &loaded);
        EXPECT_EQ(result, loaded == VARIANT_TRUE ? S_OK : S_FALSE);
        return loaded == VARIANT_TRUE;
    }
    static bool Loads(const std::string& text) { return Load(Make(), text); }
    static IXMLDOMElementPtr Root(const IXMLDOMDocument2Ptr& document) {
        IXMLDOMElementPtr root;
        document->get_documentElement(&root);
        return root;
    }
    static _variant_t Value(MSXML2::IXMLDOMNode* node) {
        _variant_t value;
        EXPECT_EQ(node->get_nodeTypedValue(&value), S_OK);
        return value;
    }
};

TEST(ComTest, CreationNeedsAnInitialisedThread) {
    IXMLDOMDocument2Ptr document;
    std::thread([&] { EXPECT_EQ(document.CreateInstance(kVersion6), CO_E_NOTINITIALIZED); }).join();
    EXPECT_EQ(document, nullptr);
}

TEST_F(DomTest, ClassesAreFoundByProgIdAndById) {
    const std::pair<const wchar_t*, HRESULT> rows[] = {
        {kVersion6, S_OK},
        {L"msxml2.domdocument.4.0", S_OK},
        {L"{88d96a05-F192-11D4-A65F-0040963251E5}", S_OK},
        {L"{88D96A06-F192-11D4-A65F-0040963251E5}", REGDB_E_CLASSNOTREG},
        {L"Msxml2.DOMDocument", CO_E_CLASSSTRING},
        {L"{88D96A05-F192-11D4-A65F-0040963251E5", CO_E_CLASSSTRING},
        {L"{88D96A05-F192-11D4-A65F-0040963251E5}x", CO_E_CLASSSTRING},
        {L"{88D96A05-F192-11D4A-65F-0040963251E5}", CO_E_CLASSSTRING},
        {L"{", CO_E_CLASSSTRING},
        {L"", CO_E_CLASSSTRING},
    };
    for (const auto& [name, result] : rows) {
        IXMLDOMDocument2Ptr document;
        EXPECT_EQ(document.CreateInstance(name), result) << ztk_test::Show(name);
        EXPECT_EQ(document != nullptr, result == S_OK);
    }
}

TEST_F(DomTest, ARefusalTellsWhyAndWhere) {
    const std::pair<const wchar_t*, const char*> rows[] = {
        {L"", "line 1, column 1: No element found."},
        {L"\xFEFF<a></b>", "line 1, column 6: Mismatched tag."},
        {L"<a>\n\xD83D\xDE00\x20AC<b></a>", "line 2, column 8: Mismatched tag."},
        {L"<a>\r\n\r\n<p:b/></a>", "line 3, column 1: A prefix is not declared."},
        {L"<a b='1'\n b='2'/>", "line 2, column 2: Duplicate attribute."},
        {L"<?xml version='1.1'?><a/>", "line 1, column 1: The version of XML is not 1.0."},
        {L"<a>\n\r\xD83Dz</a>", "line 3, column 1: Half of a surrogate pair stands alone."},
        {L"<!DOCTYPE a [<!ENTITY e SYSTEM 'no file'>]>\n<a>&e;</a>",
         "line 2, column 4: An external definition cannot be read as XML."},
    };
    ZTK::CXml xml;
    for (const auto& [text, description] : rows) {
        ZTK::CXMLLoadError error;
        EXPECT_FALSE(xml.LoadXML(text));
        EXPECT_TRUE(xml.GetLoadError(error));
        EXPECT_EQ(ZTK::Describe(error), description) << ztk_test::Show(text);
    }
}

TEST_F(DomTest, AClassTakenOutIsNotFoundUntilPutBack) {
    CLSID id;
    ASSERT_EQ(CLSIDFromProgID(kVersion6, &id), S_OK);
    ASSERT_TRUE(ZTKPosix::SetClassAvailable(kVersion6, false));
    IXMLDOMDocument2Ptr document;
    EXPECT_EQ(document.CreateInstance(kVersion6), CO_E_CLASSSTRING);
    EXPECT_EQ(document.CreateInstance(id), REGDB_E_CLASSNOTREG);
    EXPECT_EQ(document.CreateInstance(kVersion4), S_OK);
    ASSERT_TRUE(ZTKPosix::SetClassAvailable(kVersion6, true));
    EXPECT_EQ(document.CreateInstance(id), S_OK);
    EXPECT_FALSE(ZTKPosix::SetClassAvailable(L"Other.Class", false));
}

TEST_F(DomTest, VersionsAndPropertiesDecideOnDefinitions) {
    const std::tuple<const wchar_t*, _variant_t, bool> rows[] = {
        {kVersion6, {}, false},
        {kVersion6, _variant_t(short{0}), true},
        {kVersion6, _variant_t(false), true},
        {kVersion4, {}, true},
        {kVersion4, _variant_t(LONG{1}), false},
        {kVersion4, _variant_t(VARIANT_TRUE, VT_BOOL), false}};
    for (const auto& [version, prohibit, loads] : rows) {
        const IXMLDOMDocument2Ptr document = Make(version);
        if (prohibit.vt != VT_EMPTY) {
            EXPECT_EQ(document->setProperty(_bstr_t(L"ProhibitDTD"), prohibit), S_OK);
        }
        EXPECT_EQ(Load(document, "<!DOCTYPE a []><a/>"), loads);
        EXPECT_TRUE(Load(document, "<a/>"));
    }
}

TEST_F(DomTest, ARefusedPropertyRaisesAnErrorThatTells) {
    const IXMLDOMDocument2Ptr document = Make();
    EXPECT_EQ(document->setProperty(_bstr_t(L"ProhibitDTD"), _variant_t(L"0")), E_INVALIDARG);
    const HRESULT result = document->setProperty(_bstr_t(L"Other"), _variant_t(true));
    EXPECT_EQ(result, E_FAIL);
    try {
        _com_issue_errorex(result, document, __uuidof(IXMLDOMDocument2));
        FAIL();
    } catch (const _com_error& error) {
        const _com_error copy = error;
        EXPECT_EQ(copy.Error(), E_FAIL);
        EXPECT_TEXT("Unspecified error", copy.ErrorMessage());
        EXPECT_TEXT(L"The document has no property of that name.",
                    static_cast<const wchar_t*>(copy.Description()));
    }
    IErrorInfo* left = nullptr;
    EXPECT_EQ(GetErrorInfo(0, &left), S_FALSE);
    // A failure without a record is not told by the one before.
    EXPECT_EQ(document->setProperty(_bstr_t(L"Other"), _variant_t(true)), E_FAIL);
    EXPECT_EQ(document->get_nodeName(nullptr), E_INVALIDARG);
    EXPECT_EQ(GetErrorInfo(0, &left), S_FALSE);
}

TEST_F(DomTest, UseOfNoObjectRaises) {
    const IXMLDOMNodePtr none;
    try {
        (void)none->AddRef();
        FAIL();
    } catch (const _com_error& error) {
        EXPECT_EQ(error.Error(), E_POINTER);
        EXPECT_EQ(error.ErrorInfo(), nullptr);
        EXPECT_TRUE(!error.Description());
    }
    EXPECT_TEXT("Unknown error 0x80041234",
                _com_error(static_cast<HRESULT>(0x80041234u)).ErrorMessage());
}

TEST_F(DomTest, StringsKeepNullCharactersAndOddBytes) {
    const BSTR text = SysAllocStringLen(L"a\0b", 3);
    EXPECT_EQ(SysStringLen(text), 3u);
    EXPECT_EQ(text[3], L'\0');
    const BSTR bytes = SysAllocStringByteLen("abc", 3);
    EXPECT_EQ(SysStringByteLen(bytes), 3u);
    EXPECT_EQ(SysStringLen(bytes), 1u);
    EXPECT_EQ(bytes[2], L'\0');
    EXPECT_EQ(SysAllocString(nullptr), nullptr);
    EXPECT_EQ(SysStringLen(nullptr), 0u);

    const _bstr_t first(text, true);
    const _bstr_t joined = first + first;
    EXPECT_EQ(joined.length(), 6u);
    EXPECT_EQ(joined, _bstr_t(SysAllocStringLen(L"a\0ba\0b", 6), false));
    EXPECT_TRUE(_bstr_t() < first && first < joined);
    _bstr_t shared = joined;
    EXPECT_THROW((void)shared.Detach(), _com_error);
    EXPECT_TEXT("\xC3\xA4", static_cast<const char*>(_bstr_t(L"\x00E4")));
    SysFreeString(text);
    SysFreeString(bytes);
}

TEST_F(DomTest, VariantsOwnTheirCopies) {
    const IXMLDOMDocument2Ptr document = Make();
    ASSERT_TRUE(Load(
        document, "<a xmlns:d='urn:schemas-microsoft-com:datatypes' d:dt='bin.base64'>AQID</a>"));
    _variant_t bytes = Value(Root(document));
    const _variant_t copy = bytes;
    ASSERT_EQ(copy.vt, VT_ARRAY | VT_UI1);
    bytes.Clear();
    EXPECT_EQ(
        std::string(static_cast<char*>(copy.parray->pvData), copy.parray->rgsabound[0].cElements),
        "\x01\x02\x03");
    _variant_t text(L"text");
    VARIANT target{};
    EXPECT_EQ(VariantCopy(&target, &text), S_OK);
    EXPECT_NE(target.bstrVal, text.bstrVal);
    EXPECT_TEXT(L"text", target.bstrVal);
    EXPECT_EQ(VariantClear(&target), S_OK);
    EXPECT_EQ(target.vt, VT_EMPTY);
    EXPECT_THROW((void)static_cast<double>(text), _com_error);
}

TEST_F(DomTest, ShortMemoryIsReported) {
    const IXMLDOMDocument2Ptr document = Make();
    ASSERT_TRUE(
        Load(document, "<a xmlns:d='urn:schemas-microsoft-com:datatypes' d:dt='bin.hex'>0aff</a>"));
    const IXMLDOMElementPtr root = Root(document);
    const auto copied = [](const VARIANT& source) {
        _variant_t copy;
        const HRESULT result = VariantCopy(&copy, &source);
        EXPECT_EQ(copy.vt, result == S_OK ? source.vt : VARTYPE{VT_EMPTY});
        return result;
    };
    const _bstr_t text(L"text");
    const _variant_t variant(text), bytes(Value(root));
    EXPECT_EQ(document->setProperty(text, _variant_t(true)), E_FAIL);
    IErrorInfo* record = nullptr;
    ASSERT_EQ(GetErrorInfo(0, &record), S_OK);
    const std::function<HRESULT()> calls[] = {
        [&] { return copied(variant); },
        [&] { return copied(bytes); },
        [&] { return root->get_nodeTypedValue(std::make_unique<_variant_t>().get()); },
        [&] { return Raised([] { (void)_bstr_t(L"x"); }); },
        [&] { return Raised([] { (void)_bstr_t("x"); }); },
        [&] { return Raised([&] { (void)(text + text); }); },
        [&] { return Raised([&] { (void)static_cast<const char*>(_bstr_t(text, true)); }); },
        [&] { return IXMLDOMDocument2Ptr().CreateInstance(kVersion6); },
        [&] {
            BSTR description = nullptr;
            const HRESULT result = record->GetDescription(&description);
            EXPECT_EQ(description != nullptr, result == S_OK);
            SysFreeString(description);
            return result;
        },
    };
    for (const auto& call : calls) {
        SCOPED_TRACE(&call - calls);
        ztk_test::RefuseEach(ztk_test::FailAfter, [&call] {
            const HRESULT result = call();
            EXPECT_TRUE(result == S_OK || result == E_OUTOFMEMORY) << result;
            return result == S_OK;
        });
    }
    record->Release();
}

// Numbers as a caller of the DOM itself sees them; the XML classes only tell that they are no text.
double NumberOf(const VARIANT& v) {
    const std::map<VARTYPE, double> numbers = {{VT_I1, v.cVal},
                                               {VT_UI1, v.bVal},
                                               {VT_I2, v.iVal},
                                               {VT_UI2, v.uiVal},
                                               {VT_I4, v.lVal},
                                               {VT_UI4, v.ulVal},
                                               {VT_R4, v.fltVal},
                                               {VT_BOOL, v.iVal},
                                               {VT_I8, double(v.llVal)},
                                               {VT_UI8, double(v.ullVal)},
                                               {VT_CY, double(v.cyVal.int64)}};
    const auto number = numbers.find(v.vt);
    return number != numbers.end() ? number->second : v.dblVal;
}

TEST_F(DomTest, DeclaredTypesMakeValues) {
    const struct {
        const char *type, *text;
        VARTYPE kind;
        double number;
    } rows[] = {
        {"i1", "-128", VT_I1, -128},
        {"ui1", "255", VT_UI1, 255},
        {"i2", " +32767 ", VT_I2, 32767},
        {"ui2", "65535", VT_UI2, 65535},
        {"int", "-2147483648", VT_I4, -2147483648.0},
        {"ui4", "4294967295", VT_UI4, 4294967295.0},
        {"i8", "-9007199254740992", VT_I8, -9007199254740992.0},
        {"ui8", "9007199254740992", VT_UI8, 9007199254740992.0},
        {"r4", "0.5", VT_R4, 0.5},
        {"r8", "1e308", VT_R8, 1e308},
        {"float", "-.5E+1", VT_R8, -5},
        {"fixed.14.4", "-12.5", VT_CY, -125000},
        {"fixed.14.4", "99999999999999.9999", VT_CY, 999999999999999999.0},
        {"boolean", "1", VT_BOOL, -1},
        {"boolean", "0", VT_BOOL, 0},
        {"date", "1899-12-30", VT_DATE, 0},
        {"date", "1900-01-01", VT_DATE, 2},
        {"date", "2000-02-29", VT_DATE, 36585},
        {"date", "1899-12-29", VT_DATE, -1},
        {"date", "0001-01-01", VT_DATE, -693593},
        {"dateTime", "1899-12-29T18:00:00", VT_DATE, -1.75},
        {"dateTime", "2000-02-29", VT_DATE, 36585},
        {"dateTime", "2000-02-29T12:00:00.000", VT_DATE, 36585.5},
        {"dateTime.tz", "2000-02-29T12:00:00+06:00", VT_DATE, 36585.75},
        {"dateTime.tz", "2000-02-29T12:00:00Z", VT_DATE, 36585.5},
        {"time", "06:00:00", VT_DATE, 0.25},
        {"time", "23:59:59.5", VT_DATE, 86399.5 / 86400},
        {"date", "2100-03-01", VT_DATE, 73110},
        {"time.tz", "06:00:00-06:00", VT_DATE, 0},
    };
    const auto value_of = [document = Make()](const char* type, const std::string& text) {
        const auto head = "<a xmlns:d='urn:schemas-microsoft-com:datatypes' d:dt='";
        EXPECT_TRUE(Load(document, head + (type + ("'>" + text)) + "</a>"));
        _variant_t value;
        const HRESULT result = Root(document)->get_nodeTypedValue(&value);
        EXPECT_EQ(result, value.vt == VT_EMPTY ? DISP_E_TYPEMISMATCH : S_OK);
        return value;
    };
    for (const auto& row : rows) {
        const _variant_t value = value_of(row.type, row.text);
        EXPECT_EQ(value.vt, row.kind) << row.type << " " << row.text;
        EXPECT_DOUBLE_EQ(NumberOf(value), row.number) << row.type << " " << row.text;
    }
    const std::map<const char*, std::vector<std::string>> refused = {
        {"i1", {"128", "-129"}},
        {"i2", {"32768"}},
        {"ui2", {"65536"}},
        {"ui4", {"4294967296"}},
        {"ui1", {"-1"}},
        {"i4", {"2147483648"}},
        {"r8", {"1e309", "inf", "+-1"}},
        {"fixed.14.4", {"1.23456", "."}},
        {"boolean", {"yes", "2", ""}},
        {"date",
         {"1900-02-29", "2000-13-01", "2000-00-01", "2000-01-00", "2000-04-31", "2000-1-1"}},
        {"dateTime", {"2000-02-29T24:00:00", "2000-02-29T12:00:00Z"}},
        {"time", {"06:00:00.", "06:60:00", "06:00:60", "6:00:00", "06:00"}},
        {"bin.hex", {"0aF", "0g"}},
        {"bin.base64", {"A"}},
        {"int", {"", "12x"}}};
    for (const auto& [type, texts] : refused) {
        for (const std::string& text : texts) {
            EXPECT_EQ(value_of(type, text).vt, VT_EMPTY) << type << " " << text;
        }
    }
    SetErrorInfo(0, nullptr);
}

// Files for documents to take definitions from.
class DomExternalsTest : public DomTest {
  protected:
    DomExternalsTest() {
        std::string pattern = (std::filesystem::temp_directory_path() / "ztk_dom_XXXXXX").string();
        directory_ = mkdtemp(pattern.data());
    }
    ~DomExternalsTest() override {
        std::filesystem::remove_all(directory_);
        ZTKPosix::SetExternalsAllowed(true);
    }

    void Write(const std::string& name, const std::string& text) const {
        std::ofstream(Path(name), std::ios::binary) << text;
    }
    [[nodiscard]] std::string Path(const std::string& name) const {
        return directory_ + "/" + name;
    }

    static std::string WithEntity(const std::string& address) {
        return "<!DOCTYPE a [<!ENTITY e SYSTEM '" + address + "'>]><a>&e;</a>";
    }

    std::string directory_;
};

TEST_F(DomExternalsTest, LocalFilesAreResolved) {
    Write("text.xml", "<?xml version='1.0' encoding='ISO-8859-1'?>\xE4<b/>");
    Write("sub set.dtd", "<!ENTITY % more SYSTEM 'more.dtd'>%more;");
    Write("more.dtd", "<!ATTLIST a b CDATA 'default'>");
    for (const std::string& address :
         {Path("text.xml"), "file://" + Path("text.xml"), "file:" + Path("text.xml"),
          "FILE://localhost" + Path("text%2exml")}) {
        SCOPED_TRACE(address);
        const IXMLDOMDocument2Ptr document = Make();
        ASSERT_TRUE(Load(document, WithEntity(address)));
        EXPECT_TEXT(L"\x00E4", Value(Root(document)).bstrVal);
    }
    const IXMLDOMDocument2Ptr document = Make();
    ASSERT_TRUE(Load(document, "<!DOCTYPE a SYSTEM 'file://" + Path("sub%20set.dtd") + "'><a/>"));
    IXMLDOMNamedNodeMapPtr attributes;
    Root(document)->get_attributes(&attributes);
    IXMLDOMNodePtr attribute;
    ASSERT_EQ(attributes->getNamedItem(_bstr_t(L"b"), &attribute), S_OK);
    EXPECT_TEXT(L"default", Value(attribute).bstrVal);
}

TEST_F(DomExternalsTest, WhatCannotBeResolvedFailsTheLoad) {
    Write("text.xml", "text");
    Write("open.xml", "<b>");
    Write("loop.dtd", "<!ENTITY % self SYSTEM 'loop.dtd'>%self;");
    Write("foreign.dtd", "<!ENTITY % more SYSTEM 'http://localhost/more.dtd'>%more;");
    ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
    const int watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    ASSERT_GE(inotify_add_watch(watch, Path("pipe").c_str(), IN_OPEN), 0);
    std::filesystem::resize_file((Write("large.xml", " "), Path("large.xml")), (16 << 20) + 1);
    for (const std::string& address :
         {Path("absent"), Path("open.xml"), Path("pipe"), Path("large.xml"), directory_,
          std::string("text.xml"), std::string("http://localhost") + Path("text.xml"),
          "file://elsewhere" + Path("text.xml"), Path("text.xml%00")}) {
        EXPECT_FALSE(Loads(WithEntity(address))) << address;
    }
    char opened[sizeof(inotify_event) + NAME_MAX + 1];
    EXPECT_EQ(read(watch, opened, sizeof opened), -1) << "opening a pipe wakes its other end";
    close(watch);
    for (const char* name : {"loop.dtd", "foreign.dtd", "absent"}) {
        EXPECT_FALSE(Loads("<!DOCTYPE a SYSTEM '" + Path(name) + "'><a/>")) << name;
    }
    EXPECT_TRUE(Loads("<!DOCTYPE a [<!ENTITY unused SYSTEM 'http://localhost/x'>]><a/>"));
}

TEST_F(DomExternalsTest, HostsAndDocumentsCanForgoExternals) {
    Write("text.xml", "text");
    const IXMLDOMDocument2Ptr document = Make();
    ASSERT_EQ(document->setProperty(_bstr_t(L"ResolveExternals"), _variant_t(false)), S_OK);
    ASSERT_TRUE(Load(document, WithEntity(Path("text.xml"))));
    EXPECT_TEXT(L"", Value(Root(document)).bstrVal);
    ZTKPosix::SetExternalsAllowed(false);
    EXPECT_FALSE(Loads(WithEntity(Path("text.xml"))));
    EXPECT_FALSE(Loads("<!DOCTYPE a SYSTEM '" + Path("text.xml") + "'><a/>"));
    EXPECT_TRUE(Loads("<!DOCTYPE a [<!ENTITY e 'internal'>]><a>&e;</a>"));
}

TEST_F(DomExternalsTest, ALackOfMemoryIsNoRefusal) {
    Write("text.xml", "text");
    const _bstr_t text = Widen(WithEntity("file:" + Path("text.xml")));
    const IXMLDOMDocument2Ptr document = Make();
    ztk_test::RefuseEach(ztk_test::FailAfter, [&] {
        VARIANT_BOOL loaded = VARIANT_FALSE;
        const HRESULT result = document->loadXML(text, &loaded);
        EXPECT_EQ(result, loaded == VARIANT_TRUE ? S_OK : E_OUTOFMEMORY);
        ztk_test::StopFailing();
        EXPECT_FALSE(Load(document, ""));  // gives back what was loaded
        return result == S_OK;
    });
}

// "head0tail", "head1tail" and so on.
std::string Numbered(int count, const std::string& head, const std::string& tail) {
    std::string text;
    for (int i = 0; i < count; ++i) {
        text += head;
        text += std::to_string(i);
        text += tail;
    }
    return text;
}

std::string Times(int count, const std::string& piece) {
    std::string text;
    for (int i = 0; i < count; ++i) {
        text += piece;
    }
    return text;
}

// Each entity refers to the one before it, or to the one after.
std::string EntityChain(int count, bool forward) {
    std::string text = "<!DOCTYPE a [<!ENTITY e0 'x'>";
    for (int i = 1; i < count; ++i) {
        const int number = forward ? count - i : i;
        text += "<!ENTITY e" + std::to_string(number) + " '&amp;&e" + std::to_string(number - 1) +
                ";'>";
    }
    return text + "]><a b='&e" + std::to_string(count - 1) + ";'/>";
}

TEST_F(DomTest, EntitiesNestAsDeepAsTheStackAllows) {
    for (const bool forward : {false, true}) {
        EXPECT_TRUE(Loads(EntityChain(256, forward)));
        EXPECT_FALSE(Loads(EntityChain(257, forward)));
        EXPECT_FALSE(Loads(EntityChain(100000, forward)));
    }
    EXPECT_TRUE(Loads("<!DOCTYPE a [" + Numbered(1000, "<!ENTITY e", " '&amp;&later;'>") +
                      "<!ENTITY later ''>]><a>&e9;</a>"));
    EXPECT_FALSE(Loads("<!DOCTYPE a [<!ENTITY e '&f;'><!ENTITY f '&e;'>]><a/>"));
}

// After a reference to a parameter entity the parser itself lets these pass.
TEST_F(DomTest, WhatIsDeclaredNowhereIsRefused) {
    const std::string head = "<!DOCTYPE a [<!ENTITY % p \"<!ENTITY e 'x'>\">%p;";
    for (const char* good :
         {"]><a b='&e;&lt;'>&e;</a>", "<!ENTITY f '&no;'>]><a b='&e;'/>",
          "<!ATTLIST a b CDATA '&e;'><!ENTITY f '<a b=\"&e;\"/>'>]><a>&f;</a>"}) {
        EXPECT_TRUE(Loads(head + good)) << good;
    }
    for (const char* bad :
         {"]><a>&no;</a>", "]><a b='&no;'/>", "%no;]><a/>", "<!ATTLIST a b CDATA '&no;'>]><a/>",
          "<!ENTITY f '&no;'>]><a b='&f;'/>", "<!ENTITY f '<a b=\"&no;\"/>'>]><a>&f;</a>"}) {
        EXPECT_FALSE(Loads(head + bad)) << bad;
    }
}

TEST_F(DomExternalsTest, WhatAFileRefersToIsDeclared) {
    const std::string head = "<!DOCTYPE a [<!ENTITY % p \"<!ENTITY e 'x'>\">%p;<!ENTITY ";
    for (const char* name : {"e", "no"}) {
        const std::string value = "CDATA '&" + std::string(name) + ";'";
        Write("text.xml", "<b c=" + value.substr(6) + "/>");
        Write("subset.dtd", "<!ATTLIST a b " + value + ">");
        const bool good = *name == 'e';
        EXPECT_EQ(Loads(head + "t SYSTEM '" + Path("text.xml") + "'>]><a>&t;</a>"), good);
        EXPECT_EQ(Loads(head + "% s SYSTEM '" + Path("subset.dtd") + "'>%s;]><a/>"), good);
    }
    Write("text.xml", "<b c='&e;\xC3\xA4'/>");
    EXPECT_TRUE(Loads(head + "t SYSTEM '" + Path("text.xml") + "'>]><a>&t;</a>"));
}

// What a short text can make the parser do with what it has said once. A long address in every name
// would take more memory than there is.
TEST_F(DomExternalsTest, WorkIsBoundedByTheLengthOfTheText) {
    Write("text.xml", "x");
    const std::string external = "<!ENTITY x SYSTEM '" + Path("text.xml") + "'>";
    const std::string entities = Numbered(20000, "<!ENTITY e", " ''>");
    const std::string files = Times(1000, "&x;");
    const std::string address(1000000, 'u');
    const struct {
        const char* name;
        std::string definitions, content;
        bool loads;
    } rows[] = {
        {"address and attributes", "",
         "<b xmlns:p='" + address + "'" + Numbered(50000, " p:a", "=''") + "/>", true},
        {"attributes and elements", "<!ATTLIST b" + Numbered(12000, " c", " CDATA #IMPLIED") + ">",
         Times(20000, "<b/>"), false},
        {"attributes of one element", "<!ATTLIST b" + Numbered(40000, " c", " CDATA ''") + ">", "",
         false},
        {"attributes of a long name",
         "<!ATTLIST " + address + Numbered(1000, " c", " CDATA #IMPLIED") + ">", "", false},
        {"a long default", "<!ATTLIST b c CDATA '" + address + "'>", Times(1000, "<b/>"), false},
        {"ordinary attributes", "<!ATTLIST b c CDATA 'value' d CDATA #IMPLIED>",
         Times(10000, "<b/>"), true},
        {"ampersands", "<!ENTITY e '" + Times(100000, "&#38;") + "'>", "", true},
        {"empty entities", "<!ENTITY e ''><!ENTITY f '" + Times(100000, "&e;") + "'>",
         Times(50, "&f;"), false},
        {"entities and files", external + entities, files, false},
        {"a long entity and files", external + "<!ENTITY e '" + address + "'>", files, false},
        {"ordinary entities and files", external + Numbered(100, "<!ENTITY e", " ''>"), files,
         true},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Loads("<!DOCTYPE a [" + row.definitions + "]><a>" + row.content + "</a>"),
                  row.loads)
            << row.name;
    }
}

// Text that the feeding of the parser cuts everywhere: long tokens, and characters of two units.
TEST_F(DomTest, LongTextsComeThroughWhole) {
    for (const std::size_t characters : {16383u, 16384u, 32769u, 500000u}) {
        std::string body;
        for (std::size_t i = 0; i < characters; ++i) {
            body += "\xF0\x9F\x98";
            body += static_cast<char>(0x80 + i % 64);
        }
        const IXMLDOMDocument2Ptr document = Make();
        ASSERT_TRUE(Load(document, "<a b='" + body + "'>" + body + "</a>"));
        EXPECT_EQ(_bstr_t(Value(Root(document))), Widen(body)) << characters;
    }
}

}  // namespace
