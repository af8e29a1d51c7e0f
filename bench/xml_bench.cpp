// What an agent pays for a large document: 10 MiB of records loaded from 16-bit text through CXml
// and one attribute of every element read, beside libxml2's tree doing the same from UTF-8, where
// that is installed.
//
// Memory is what the process's resident set grows by at its peak, over what it was with the text in
// the host's hands: for "bytes/byte", divided by the document's UTF-8 bytes. Each figure is taken
// in a process of its own, forked for it.
//
// Besides, the look for one tag by its name: the last of the root's children in 100 KiB, and one of
// a short message.
#include <benchmark/benchmark.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#if defined(ZTK_BENCH_LIBXML2)
#include <libxml/parser.h>
#include <libxml/tree.h>
#endif

#include "ztk/xml.h"

namespace {

constexpr std::size_t kDocumentBytes = std::size_t{10} << 20;

// Registers as a debugger's peer describes them, in features, with some text.
const std::string& Document() {
    static const std::string document = [] {
        std::string text = "<?xml version=\"1.0\"?>\n<target>\n<feature name=\"f0\">\n";
        for (int i = 1; text.size() < kDocumentBytes; ++i) {
            const std::string number = std::to_string(i);
            text += "  <reg name=\"r" + number + "\" bitsize=\"64\" type=\"data_ptr\" regnum=\"" +
                    number + "\"/>\n";
            if (i % 8 == 0) {
                text += "  <note name=\"n\">register " + number + " &amp; its neighbours</note>\n";
            }
            if (i % 100 == 0) {
                text += "</feature>\n<feature name=\"f" + number + "\">\n";
            }
        }
        return text + "</feature>\n</target>\n";
    }();
    return document;
}

const std::vector<wchar_t>& WideDocument() {
    static const std::vector<wchar_t> wide = [] {
        std::vector<wchar_t> text(Document().begin(), Document().end());
        text.push_back(0);
        return text;
    }();
    return wide;
}

void Require(bool good) {
    if (!good) {
        std::abort();
    }
}

using Tag = std::unique_ptr<ZTK::CXMLTag>;

std::size_t ReadWithCXml() {
    ZTK::CXml xml;
    Require(xml.LoadXML(WideDocument().data()));
    std::size_t total = 0;
    for (Tag feature(xml.GetRoot()->FirstTag()); feature; feature.reset(xml.GetRoot()->NextTag())) {
        for (Tag reg(feature->FirstTag()); reg; reg.reset(feature->NextTag())) {
            ZTK::CXMLAttribute* const name = reg->GetAttribute(L"name");
            total += name->GetValue()[0];
        }
    }
    return total;
}

#if defined(ZTK_BENCH_LIBXML2)
std::size_t ReadWithLibxml2() {
    const std::string& text = Document();
    const xmlDocPtr document = xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr,
                                             nullptr, XML_PARSE_NOBLANKS);
    Require(document != nullptr);
    const auto* const wanted = reinterpret_cast<const xmlChar*>("name");
    std::size_t total = 0;
    for (xmlNodePtr feature = xmlDocGetRootElement(document)->children; feature != nullptr;
         feature = feature->next) {
        for (xmlNodePtr reg = feature->children; reg != nullptr; reg = reg->next) {
            xmlChar* const name = xmlGetProp(reg, wanted);
            total += name[0];
            xmlFree(name);
        }
    }
    xmlFreeDoc(document);
    return total;
}
#endif

// A figure of this process in KiB, by its name in the system's status file.
long Status(const char* name) {
    std::FILE* const file = std::fopen("/proc/self/status", "r");
    Require(file != nullptr);
    char line[256];
    long kib = 0;
    while (std::fgets(line, sizeof line, file) != nullptr) {
        if (std::strncmp(line, name, std::strlen(name)) == 0) {
            kib = std::strtol(line + std::strlen(name) + 1, nullptr, 10);
        }
    }
    (void)std::fclose(file);
    return kib;
}

double PeakBytesPerByte(std::size_t (*read)()) {
    (void)WideDocument();  // makes both texts here, so that the child's figure is without them
    int ends[2];
    Require(::pipe(ends) == 0);
    const pid_t child = ::fork();
    if (child == 0) {
        std::FILE* const peak = std::fopen("/proc/self/clear_refs", "w");
        Require(peak != nullptr && std::fputs("5", peak) >= 0 && std::fclose(peak) == 0);
        const long before = Status("VmRSS");
        read();
        const long grown = Status("VmHWM") - before;
        Require(::write(ends[1], &grown, sizeof grown) == sizeof grown);
        ::_exit(0);
    }
    long grown = 0;
    Require(::read(ends[0], &grown, sizeof grown) == sizeof grown);
    (void)::close(ends[0]);
    (void)::close(ends[1]);
    (void)::waitpid(child, nullptr, 0);  // its figure has arrived
    return static_cast<double>(grown) * 1024 / static_cast<double>(Document().size());
}

// Before anything was read in this process: afterwards the heap has memory to reuse.
const double cxml_peak = PeakBytesPerByte(ReadWithCXml);
#if defined(ZTK_BENCH_LIBXML2)
const double libxml2_peak = PeakBytesPerByte(ReadWithLibxml2);
#endif

void Measure(benchmark::State& state, std::size_t (*read)(), double peak) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(read());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(Document().size()));
    state.counters["bytes/byte"] = peak;
}
BENCHMARK_CAPTURE(Measure, CXml, ReadWithCXml, cxml_peak)->Unit(benchmark::kMillisecond);
#if defined(ZTK_BENCH_LIBXML2)
BENCHMARK_CAPTURE(Measure, Libxml2, ReadWithLibxml2, libxml2_peak)->Unit(benchmark::kMillisecond);
#endif

// 100 KiB of registers, and a tag of another name behind them.
const std::string& FarDocument() {
    static const std::string document = [] {
        std::string text = "<target>\n";
        for (int i = 1; text.size() < 100 * 1024; ++i) {
            const std::string number = std::to_string(i);
            text += "  <reg name=\"r" + number + "\" bitsize=\"64\" regnum=\"" + number + "\"/>\n";
        }
        return text + "  <last>1</last>\n</target>\n";
    }();
    return document;
}

void FarTag(benchmark::State& state) {
    std::vector<wchar_t> text(FarDocument().begin(), FarDocument().end());
    text.push_back(0);
    ZTK::CXml xml(text.data());
    Require(xml.GetRoot() != nullptr);
    for (auto _ : state) {
        const Tag last(xml.FindTagV(L"target", L"last", nullptr));
        Require(last != nullptr);
    }
}
BENCHMARK(FarTag);

#if defined(ZTK_BENCH_LIBXML2)
void FarTagLibxml2(benchmark::State& state) {
    const std::string& text = FarDocument();
    const xmlDocPtr document = xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr,
                                             nullptr, XML_PARSE_NOBLANKS);
    Require(document != nullptr);
    for (auto _ : state) {
        xmlNodePtr node = xmlDocGetRootElement(document)->children;
        while (node != nullptr &&
               xmlStrcasecmp(node->name, reinterpret_cast<const xmlChar*>("last")) != 0) {
            node = node->next;
        }
        Require(node != nullptr);
        benchmark::DoNotOptimize(node);
    }
    xmlFreeDoc(document);
}
BENCHMARK(FarTagLibxml2);
#endif

constexpr const wchar_t kMessage[] =
    L"<request id='7'><name kind='file'>read</name><size>64</size></request>";

void NearTag(benchmark::State& state) {
    ZTK::CXml xml(kMessage);
    for (auto _ : state) {
        const Tag size(xml.FindTagV(L"request", L"size", nullptr));
        Require(size != nullptr);
    }
}
BENCHMARK(NearTag);

void NearTagValue(benchmark::State& state) {
    ZTK::CXml xml(kMessage);
    for (auto _ : state) {
        const Tag size(xml.FindTagV(L"request", L"size", nullptr));
        Require(size->ToInt() == 64);
    }
}
BENCHMARK(NearTagValue);

void NearAttribute(benchmark::State& state) {
    ZTK::CXml xml(kMessage);
    for (auto _ : state) {
        ZTK::CXMLAttribute* const kind = xml.FindAttributeV(L"request", L"name", L"kind", nullptr);
        Require(kind->GetValue()[0] == L'f');
        const Tag name(kind->GetParent());
    }
}
BENCHMARK(NearAttribute);

}  // namespace
