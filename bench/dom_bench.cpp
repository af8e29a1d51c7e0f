// What loading a document costs: 1 MiB of records through the DOM, from 16-bit text to a tree that
// is freed again, beside the parser alone over the same document, and the reading of every name and
// value through the interfaces.
#include <benchmark/benchmark.h>
#include <expat.h>

#include <cstdlib>
#include <string>

#include "ztk/platform/com.h"

namespace {

constexpr std::size_t kDocumentBytes = std::size_t{1} << 20;

// Records as a debugger's peer describes registers, indented, with some text.
const std::string& Document() {
    static const std::string document = [] {
        std::string text = "<?xml version=\"1.0\"?>\n<target>\n";
        for (int i = 0; text.size() < kDocumentBytes; ++i) {
            const std::string number = std::to_string(i);
            text += "  <reg name=\"r" + number + "\" bitsize=\"64\" type=\"data_ptr\" regnum=\"" +
                    number + "\"/>\n";
            if (i % 8 == 0) {
                text += "  <note>register " + number + " &amp; its neighbours</note>\n";
            }
        }
        return text + "</target>\n";
    }();
    return document;
}

void Require(bool good) {
    if (!good) {
        std::abort();
    }
}

BSTR WideDocument() {
    const std::string& narrow = Document();
    const BSTR wide = SysAllocStringLen(nullptr, static_cast<UINT>(narrow.size()));
    Require(wide != nullptr);
    for (std::size_t i = 0; i < narrow.size(); ++i) {
        wide[i] = static_cast<wchar_t>(narrow[i]);
    }
    return wide;
}

MSXML2::IXMLDOMDocument2Ptr MakeDocument() {
    CoInitialize(nullptr);
    MSXML2::IXMLDOMDocument2Ptr document;
    Require(document.CreateInstance(L"Msxml2.DOMDocument.6.0") == S_OK);
    return document;
}

void LoadDocument(benchmark::State& state) {
    const MSXML2::IXMLDOMDocument2Ptr document = MakeDocument();
    const BSTR text = WideDocument();
    for (auto _ : state) {
        VARIANT_BOOL loaded = VARIANT_FALSE;
        Require(document->loadXML(text, &loaded) == S_OK && loaded == VARIANT_TRUE);
    }
    SysFreeString(text);
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(Document().size()));
}
BENCHMARK(LoadDocument)->Unit(benchmark::kMillisecond);

void ParseOnly(benchmark::State& state) {
    const std::string& text = Document();
    for (auto _ : state) {
        const XML_Parser parser = XML_ParserCreateNS("UTF-8", '\f');
        XML_SetElementHandler(
            parser, [](void*, const XML_Char*, const XML_Char**) {}, [](void*, const XML_Char*) {});
        XML_SetCharacterDataHandler(parser, [](void*, const XML_Char*, int) {});
        Require(XML_Parse(parser, text.data(), static_cast<int>(text.size()), XML_TRUE) ==
                XML_STATUS_OK);
        XML_ParserFree(parser);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
}
BENCHMARK(ParseOnly)->Unit(benchmark::kMillisecond);

// Every child of the root: its name, its value, and one attribute with its value.
void ReadDocument(benchmark::State& state) {
    const MSXML2::IXMLDOMDocument2Ptr document = MakeDocument();
    const BSTR text = WideDocument();
    VARIANT_BOOL loaded = VARIANT_FALSE;
    Require(document->loadXML(text, &loaded) == S_OK);
    SysFreeString(text);
    const BSTR wanted = SysAllocString(L"regnum");
    int64_t nodes = 0;
    for (auto _ : state) {
        MSXML2::IXMLDOMElementPtr root;
        document->get_documentElement(&root);
        MSXML2::IXMLDOMNodePtr node;
        root->get_firstChild(&node);
        while (node != nullptr) {
            BSTR name = nullptr;
            node->get_nodeName(&name);
            SysFreeString(name);
            _variant_t value;
            node->get_nodeTypedValue(&value);
            MSXML2::IXMLDOMNamedNodeMapPtr attributes;
            node->get_attributes(&attributes);
            MSXML2::IXMLDOMNodePtr attribute;
            if (attributes->getNamedItem(wanted, &attribute) == S_OK) {
                value.Clear();
                attribute->get_nodeTypedValue(&value);
            }
            ++nodes;
            MSXML2::IXMLDOMNodePtr next;
            node->get_nextSibling(&next);
            node = next;
        }
    }
    SysFreeString(wanted);
    state.SetItemsProcessed(nodes);
}
BENCHMARK(ReadDocument)->Unit(benchmark::kMillisecond);

// A message of the size that an agent gets: what is paid for every load, however small.
void LoadMessage(benchmark::State& state) {
    const MSXML2::IXMLDOMDocument2Ptr document = MakeDocument();
    const BSTR text = SysAllocString(L"<request id='7'><name>read</name><size>64</size></request>");
    for (auto _ : state) {
        VARIANT_BOOL loaded = VARIANT_FALSE;
        Require(document->loadXML(text, &loaded) == S_OK);
    }
    SysFreeString(text);
}
BENCHMARK(LoadMessage)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
