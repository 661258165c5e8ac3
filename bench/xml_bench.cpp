// The XML layer on a settings document of about 1 MB (5,000 elements with attributes),
// next to the same work done with raw libxml2 calls in the same run, and pugixml for
// reference when it is installed.
//
//   load:    the file into a document (and the document freed)
//   select:  10,000 single-node selections by @id from the document element; the library
//            answers such simple child paths directly, so the same selections written with
//            blanks ("item[@id = '7']"), which go through libxml2's XPath engine, are shown
//            too
//   read:    the elements by one selection, then three typed attribute reads per element
//   flood:   an element with 200,000 attributes refused, next to libxml2 parsing 20,000
//   save:    the document to a file; the library replaces the file crash-safely (write
//            beside it, fsync, rename), so its "same work" baseline does that too, and a
//            plain xmlSaveFormatFileEnc is shown as well
#include <tlvutl/xml.h>

#include <benchmark/benchmark.h>

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlsave.h>
#include <libxml/xpath.h>

#ifdef TLVUTL_BENCH_PUGIXML
#include <pugixml.hpp>
#endif

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr int kElements = 5000;
constexpr int kSelections = 10000;

struct Fixture {
    fs::path dir;
    std::string file;
    std::string out;
    std::vector<std::wstring> widePaths;
    std::vector<std::wstring> widePathsGeneral;
    std::vector<std::string> paths;

    Fixture() {
        dir = fs::temp_directory_path() / ("tlvutl-xml-bench-" + std::to_string(::getpid()));
        fs::create_directories(dir);
        file = (dir / "settings.xml").string();
        out = (dir / "saved.xml").string();
        std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<settings version=\"3\">\n"
                          "  <items>\n";
        char line[512];
        for (int i = 0; i < kElements; ++i) {
            std::snprintf(line, sizeof line,
                          "    <item id=\"%d\" name=\"element number %d of the settings\" "
                          "x=\"%d\" y=\"%d\" w=\"%d.250000\" h=\"%d.500000\" "
                          "visible=\"%s\" rect=\"%d,%d,%d,%d\" color=\"#%06x\" "
                          "note=\"a description long enough to be typical\"/>\n",
                          i, i, i * 7, -i * 3, i % 977, i % 313, i % 3 ? "true" : "false", i, i + 1,
                          i + 2, i + 3, (i * 2654435761u) & 0xFFFFFF);
            xml += line;
        }
        xml += "  </items>\n</settings>\n";
        std::ofstream(file, std::ios::binary) << xml;
        for (int k = 0; k < kSelections; ++k) {
            const int id = static_cast<int>((k * 7919L) % kElements);
            paths.push_back("items/item[@id='" + std::to_string(id) + "']");
            widePaths.push_back(L"items/item[@id='" + std::to_wstring(id) + L"']");
            widePathsGeneral.push_back(L"items/item[@id = '" + std::to_wstring(id) + L"']");
        }
    }
    ~Fixture() { fs::remove_all(dir); }
};

Fixture& F() {
    static Fixture f;
    return f;
}

constexpr int kParseOptions =
    XML_PARSE_NONET | XML_PARSE_NOBLANKS | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;

// ---- load ----

void BM_Load_Tlvutl(benchmark::State& state) {
    const std::wstring path = fs::path(F().file).wstring();
    for (auto _ : state) {
        WXmlDoc doc;
        if (!doc.Load(path.c_str()))
            state.SkipWithError("load failed");
        benchmark::DoNotOptimize(doc);
    }
}
BENCHMARK(BM_Load_Tlvutl)->Unit(benchmark::kMillisecond);

void BM_Load_Libxml2(benchmark::State& state) {
    for (auto _ : state) {
        xmlDocPtr doc = xmlReadFile(F().file.c_str(), nullptr, kParseOptions);
        if (!doc)
            state.SkipWithError("load failed");
        xmlFreeDoc(doc);
    }
}
BENCHMARK(BM_Load_Libxml2)->Unit(benchmark::kMillisecond);

// ---- an element with very many attributes ----
// libxml2 checks an element's attributes for duplicates pairwise; the library counts them
// before parsing and refuses past its limit. Baseline: libxml2 alone on a tenth of the
// attributes (200,000 take minutes there).

std::string AttributeFlood(int n) {
    std::string s = "<r";
    for (int i = 0; i < n; ++i)
        s += " a" + std::to_string(i) + "=\"1\"";
    return s + "/>";
}

void BM_AttributeFlood200k_TlvutlRefuses(benchmark::State& state) {
    static const std::wstring text = [] {
        const std::string s = AttributeFlood(200000);
        return std::wstring(s.begin(), s.end());
    }();
    for (auto _ : state) {
        WXmlDoc doc;
        if (doc.LoadFromString(text.c_str()) ||
            TlvUtl::XmlLastError().Find(L"more than 10000 attributes") < 0)
            state.SkipWithError("the flood was not refused for its attributes");
    }
}
BENCHMARK(BM_AttributeFlood200k_TlvutlRefuses)->Unit(benchmark::kMillisecond);

void BM_AttributeFlood20k_Libxml2Parses(benchmark::State& state) {
    static const std::string text = AttributeFlood(20000);
    for (auto _ : state) {
        xmlDocPtr doc = xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                                      kParseOptions);
        if (!doc)
            state.SkipWithError("libxml2 refused the document");
        xmlFreeDoc(doc);
    }
}
BENCHMARK(BM_AttributeFlood20k_Libxml2Parses)->Unit(benchmark::kMillisecond)->Iterations(3);

// ---- 10,000 selections by @id ----

void SelectTlvutl(benchmark::State& state, const std::vector<std::wstring>& texts) {
    WXmlDoc doc;
    doc.Load(fs::path(F().file).wstring().c_str());
    WXmlNode root = doc.GetRootNode();
    std::vector<WXPath> paths(texts.begin(), texts.end());
    for (auto _ : state) {
        long found = 0;
        for (const WXPath& p : paths) {
            WXmlNode n;
            found += root.GetNode(p, n);
        }
        if (found != kSelections)
            state.SkipWithError("a selection failed");
    }
}

void BM_Select_Tlvutl(benchmark::State& state) {
    SelectTlvutl(state, F().widePaths);
}
BENCHMARK(BM_Select_Tlvutl)->Unit(benchmark::kMillisecond);

void BM_Select_TlvutlGeneralXPath(benchmark::State& state) {
    SelectTlvutl(state, F().widePathsGeneral);
}
BENCHMARK(BM_Select_TlvutlGeneralXPath)->Unit(benchmark::kMillisecond)->Iterations(1);

void BM_Select_Libxml2(benchmark::State& state) {
    xmlDocPtr doc = xmlReadFile(F().file.c_str(), nullptr, kParseOptions);
    xmlNodePtr root = xmlDocGetRootElement(doc);
    for (auto _ : state) {
        xmlXPathContextPtr ctx = xmlXPathNewContext(doc);
        long found = 0;
        for (const std::string& p : F().paths) {
            ctx->node = root;
            xmlXPathObjectPtr r = xmlXPathEvalExpression(BAD_CAST p.c_str(), ctx);
            found += r && r->nodesetval && r->nodesetval->nodeNr > 0;
            xmlXPathFreeObject(r);
        }
        xmlXPathFreeContext(ctx);
        if (found != kSelections)
            state.SkipWithError("a selection failed");
    }
    xmlFreeDoc(doc);
}
BENCHMARK(BM_Select_Libxml2)->Unit(benchmark::kMillisecond)->Iterations(1);

// ---- typed reads: three attributes per element ----

// What the three reads add up to over the fixture's elements.
struct ReadSums {
    long sum = 0;
    double total = 0;
    int shown = 0;
    bool operator==(const ReadSums& o) const {
        return sum == o.sum && std::fabs(total - o.total) < 1e-6 && shown == o.shown;
    }
};

const ReadSums& ExpectedSums() {
    static const ReadSums e = [] {
        ReadSums r;
        for (int i = 0; i < kElements; ++i) {
            r.sum += i * 7;
            r.total += (i % 977) + 0.25;
            r.shown += i % 3 != 0;
        }
        return r;
    }();
    return e;
}

void BM_Read_Tlvutl(benchmark::State& state) {
    WXmlDoc doc;
    doc.Load(fs::path(F().file).wstring().c_str());
    WXmlNode root = doc.GetRootNode();
    for (auto _ : state) {
        ReadSums got;
        for (WXmlNode item : root.GetNodes(WXPath(L"items/item"))) {
            got.sum += item.Attribute(L"@x").GetInt(0);
            got.total += item.Attribute(L"@w").GetDouble(0.0);
            got.shown += item.Attribute(L"@visible").GetBool(false);
        }
        if (!(got == ExpectedSums())) {
            state.SkipWithError("wrong values read");
            return;
        }
    }
    state.SetItemsProcessed(state.iterations() * kElements * 3);
}
BENCHMARK(BM_Read_Tlvutl)->Unit(benchmark::kMicrosecond);

void BM_Read_Libxml2(benchmark::State& state) {
    xmlDocPtr doc = xmlReadFile(F().file.c_str(), nullptr, kParseOptions);
    xmlNodePtr root = xmlDocGetRootElement(doc);
    xmlXPathContextPtr ctx = xmlXPathNewContext(doc);
    for (auto _ : state) {
        long sum = 0;
        double total = 0;
        int shown = 0;
        ctx->node = root;
        xmlXPathObjectPtr r = xmlXPathEvalExpression(BAD_CAST "items/item", ctx);
        for (int i = 0; r->nodesetval && i < r->nodesetval->nodeNr; ++i) {
            xmlNodePtr item = r->nodesetval->nodeTab[i];
            xmlChar* x = xmlGetProp(item, BAD_CAST "x");
            xmlChar* w = xmlGetProp(item, BAD_CAST "w");
            xmlChar* v = xmlGetProp(item, BAD_CAST "visible");
            sum += x ? std::strtol(reinterpret_cast<char*>(x), nullptr, 10) : 0;
            total += w ? std::strtod(reinterpret_cast<char*>(w), nullptr) : 0.0;
            shown += v && std::strcmp(reinterpret_cast<char*>(v), "true") == 0;
            xmlFree(x);
            xmlFree(w);
            xmlFree(v);
        }
        xmlXPathFreeObject(r);
        if (!(ReadSums{sum, total, shown} == ExpectedSums())) {
            state.SkipWithError("wrong values read");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations() * kElements * 3);
    xmlXPathFreeContext(ctx);
    xmlFreeDoc(doc);
}
BENCHMARK(BM_Read_Libxml2)->Unit(benchmark::kMicrosecond);

// ---- save ----

void BM_Save_Tlvutl(benchmark::State& state) {
    WXmlDoc doc;
    doc.Load(fs::path(F().file).wstring().c_str());
    const std::wstring out = fs::path(F().out).wstring();
    for (auto _ : state)
        if (!doc.Save(out.c_str()))
            state.SkipWithError("save failed");
}
BENCHMARK(BM_Save_Tlvutl)->Unit(benchmark::kMillisecond);

void BM_Save_Libxml2Durable(benchmark::State& state) {
    xmlDocPtr doc = xmlReadFile(F().file.c_str(), nullptr, kParseOptions);
    const std::string temp = F().out + ".tmp";
    for (auto _ : state) {
        xmlChar* mem = nullptr;
        int size = 0;
        xmlDocDumpFormatMemoryEnc(doc, &mem, &size, "UTF-8", 1);
        std::FILE* f = std::fopen(temp.c_str(), "wb");
        std::fwrite(mem, 1, static_cast<std::size_t>(size), f);
        std::fflush(f);
        ::fsync(::fileno(f));
        std::fclose(f);
        const bool moved = std::rename(temp.c_str(), F().out.c_str()) == 0;
        xmlFree(mem);
        if (!moved || size <= 0) {
            state.SkipWithError("save failed");
            break;
        }
    }
    xmlFreeDoc(doc);
}
BENCHMARK(BM_Save_Libxml2Durable)->Unit(benchmark::kMillisecond);

void BM_Save_Libxml2Plain(benchmark::State& state) {
    xmlDocPtr doc = xmlReadFile(F().file.c_str(), nullptr, kParseOptions);
    for (auto _ : state)
        if (xmlSaveFormatFileEnc(F().out.c_str(), doc, "UTF-8", 1) < 0)
            state.SkipWithError("save failed");
    xmlFreeDoc(doc);
}
BENCHMARK(BM_Save_Libxml2Plain)->Unit(benchmark::kMillisecond);

#ifdef TLVUTL_BENCH_PUGIXML

void BM_Load_Pugixml(benchmark::State& state) {
    for (auto _ : state) {
        pugi::xml_document doc;
        if (!doc.load_file(F().file.c_str()))
            state.SkipWithError("load failed");
    }
}
BENCHMARK(BM_Load_Pugixml)->Unit(benchmark::kMillisecond);

void BM_Select_Pugixml(benchmark::State& state) {
    pugi::xml_document doc;
    doc.load_file(F().file.c_str());
    pugi::xml_node root = doc.document_element();
    for (auto _ : state) {
        long found = 0;
        for (const std::string& p : F().paths)
            found += static_cast<bool>(root.select_node(p.c_str()));
        if (found != kSelections)
            state.SkipWithError("a selection failed");
    }
}
BENCHMARK(BM_Select_Pugixml)->Unit(benchmark::kMillisecond);

void BM_Read_Pugixml(benchmark::State& state) {
    pugi::xml_document doc;
    doc.load_file(F().file.c_str());
    pugi::xml_node root = doc.document_element();
    for (auto _ : state) {
        long sum = 0;
        double total = 0;
        int shown = 0;
        for (const pugi::xpath_node& n : root.select_nodes("items/item")) {
            pugi::xml_node item = n.node();
            sum += item.attribute("x").as_int();
            total += item.attribute("w").as_double();
            shown += std::strcmp(item.attribute("visible").value(), "true") == 0;
        }
        if (!(ReadSums{sum, total, shown} == ExpectedSums())) {
            state.SkipWithError("wrong values read");
            return;
        }
    }
    state.SetItemsProcessed(state.iterations() * kElements * 3);
}
BENCHMARK(BM_Read_Pugixml)->Unit(benchmark::kMicrosecond);

void BM_Save_Pugixml(benchmark::State& state) {
    pugi::xml_document doc;
    doc.load_file(F().file.c_str());
    for (auto _ : state)
        if (!doc.save_file(F().out.c_str()))
            state.SkipWithError("save failed");
}
BENCHMARK(BM_Save_Pugixml)->Unit(benchmark::kMillisecond);

#endif

} // namespace
