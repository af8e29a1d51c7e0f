// What loading a document costs: records through the DOM, from 16-bit text to a tree that is freed
// again, beside the parser alone over the same document in 8-bit and in 16-bit text, and the
// reading of every name and value through the interfaces.
#include <benchmark/benchmark.h>
#include <expat.h>

#include <cstdlib>
#include <map>
#include <string>

#include "ztk/platform/com.h"

namespace {

// Records as a debugger's peer describes registers, indented, with some text.
const std::string& Document(std::size_t bytes) {
    static std::map<std::size_t, std::string> documents;
    std::string& document = documents[bytes];
    if (document.empty()) {
        std::string text = "<?xml version=\"1.0\"?>\n<target>\n";
        for (int i = 0; text.size() < bytes; ++i) {
            const std::string number = std::to_string(i);
            text += "  <reg name=\"r" + number + "\" bitsize=\"64\" type=\"data_ptr\" regnum=\"" +
                    number + "\"/>\n";
            if (i % 8 == 0) {
                text += "  <note>register " + number + " &amp; its neighbours</note>\n";
            }
        }
        document = text + "</target>\n";
    }
    return document;
}

void Require(bool good) {
    if (!good) {
        std::abort();
    }
}

BSTR WideDocument(std::size_t bytes) {
    const std::string& narrow = Document(bytes);
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

void EachSize(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(1 << 10)->Arg(100 << 10)->Arg(10 << 20)->Unit(benchmark::kMicrosecond);
}

void LoadDocument(benchmark::State& state) {
    const MSXML2::IXMLDOMDocument2Ptr document = MakeDocument();
    const auto bytes = static_cast<std::size_t>(state.range(0));
    const BSTR text = WideDocument(bytes);
    for (auto _ : state) {
        VARIANT_BOOL loaded = VARIANT_FALSE;
        Require(document->loadXML(text, &loaded) == S_OK && loaded == VARIANT_TRUE);
    }
    SysFreeString(text);
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(Document(bytes).size()));
}
BENCHMARK(LoadDocument)->Apply(EachSize);

void ParseOnly(benchmark::State& state, const char* encoding, const char* text, std::size_t bytes) {
    for (auto _ : state) {
        const XML_Parser parser = XML_ParserCreate(encoding);
        XML_SetElementHandler(
            parser, [](void*, const XML_Char*, const XML_Char**) {}, [](void*, const XML_Char*) {});
        XML_SetCharacterDataHandler(parser, [](void*, const XML_Char*, int) {});
        Require(XML_Parse(parser, text, static_cast<int>(bytes), XML_TRUE) == XML_STATUS_OK);
        XML_ParserFree(parser);
    }
    const auto size = static_cast<std::size_t>(state.range(0));
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(Document(size).size()));
}

void ParseUtf8Only(benchmark::State& state) {
    const std::string& text = Document(static_cast<std::size_t>(state.range(0)));
    ParseOnly(state, "UTF-8", text.data(), text.size());
}
BENCHMARK(ParseUtf8Only)->Apply(EachSize);

void ParseUtf16Only(benchmark::State& state) {
    const BSTR text = WideDocument(static_cast<std::size_t>(state.range(0)));
    ParseOnly(state, "UTF-16LE", reinterpret_cast<const char*>(text), SysStringByteLen(text));
    SysFreeString(text);
}
BENCHMARK(ParseUtf16Only)->Apply(EachSize);

// Every child of the root: its name, its value, and one attribute with its value.
void ReadDocument(benchmark::State& state) {
    const MSXML2::IXMLDOMDocument2Ptr document = MakeDocument();
    const BSTR text = WideDocument(std::size_t{1} << 20);
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
