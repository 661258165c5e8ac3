// Uses every public inline template and class of the library as a host application would,
// through the installed headers and libtlvutl.so alone. Exits 0 when every check holds.
#include <tlvutl/tlvutl.h>

#include <algorithm>
#include <cstdio>
#include <set>
#include <string>

namespace {

int g_failures = 0;

void Check(bool ok, const char* what) {
    if (!ok) {
        std::printf("FAILED: %s\n", what);
        ++g_failures;
    }
}

// Delegates: a free function and a member function.
int g_calls = 0;
bool Hook() {
    ++g_calls;
    return true;
}
struct Counter {
    int n = 0;
    bool Bump() { return ++n > 0; }
};

void Delegates() {
    using Callback = DelayInitRegistrar::Callback;
    const Callback f = Callback::FromFunction(&Hook);
    Counter c;
    const Callback m = Callback::FromMethod<Counter, &Counter::Bump>(&c);
    Check(f() && g_calls == 1, "free-function delegate");
    Check(m() && c.n == 1, "member delegate");
    Check(f == Callback::FromFunction(&Hook) && !(f == m) && bool(f) && !bool(Callback()),
          "delegate equality");
    {
        StartupHook hook(&Hook, DelayInitRegistrar::PriorityLate);
        DelayInitRegistrar::GetInst()->RunStartupHooks(false);
    }
    Check(g_calls == 2, "a startup hook runs its delegate");
}

// Singletons and the locks they use.
struct Settings {
    int value = 7;
};

void Singletons() {
    using S = TlvUtils::Singleton<Settings>;
    Settings* s = S::Instance();
    Check(s && s == S::Instance() && s->value == 7, "singleton instance");
    S::Destroy();
    Check(S::IsDestroyed() && S::Instance() == nullptr, "destroyed singleton stays gone");
    S::Reset();
    Check(S::Instance() != nullptr, "reset singleton is created again");
    TlvUtils::ThreadLock lock;
    { TlvUtils::ReadLock r(lock); }
    { TlvUtils::WriteLock w(lock); }
}

// CString, geometry and optional.
void Strings() {
    CString s;
    s.Format(L"%d-%s", 42, L"x");
    s += L"y";
    Check(s == L"42-xy" && s.GetLength() == 5 && s.Compare(L"42-xy") == 0, "CString");
    const TlvUtils::optional<int> none, some(3);
    Check(!none.HasValue() && none.ValueOr(5) == 5 && some.Value() == 3, "optional");
    const CRect r(1, 2, 11, 22);
    Check(r.Width() == 10 && r.Height() == 20 && CPoint(1, 2).x == 1 && CSize(3, 4).cy == 4,
          "geometry");
}

// Lists: both families, and the folder getters through their list macro.
void Lists() {
    HMEM list = LIST_Ctor();
    Check(list != nullptr && LIST_Push(list, "abc", 4) == 1, "handle list push");
    char out[4] = {};
    Check(LIST_GetIth(list, 0, out, sizeof out) == 4 && std::string(out) == "abc",
          "handle list read");
    LIST_Dtor(list);
    WGList g;
    const int at = g.Insert("xy", 3);
    WGList copy(g);
    Check(at == 0 && std::string(static_cast<const char*>(copy.Get(0))) == "xy", "WGList");
    int folders = 0;
#define TLVUTL_CLIENT_COUNT(name, base, sub) folders += name().IsEmpty() ? 0 : 1;
    TLVUTL_DERIVED_FOLDERS(TLVUTL_CLIENT_COUNT)
#undef TLVUTL_CLIENT_COUNT
    Check(folders > 50, "derived folder getters");
}

// A tree ordered by the client.
class IntTree : public CBTree {
public:
    int Compare(void* item, void* key) override {
        return *static_cast<int*>(item) - *static_cast<int*>(key);
    }
};

void Trees() {
    IntTree t;
    int a = 2, b = 1, c = 3, key = 1;
    t.Add(&a);
    t.Add(&b);
    t.Add(&c);
    Check(t.Find(&key) == &b && !t.IsEmpty(), "client tree");
    t.RemoveAll();
}

// XML documents, nodes, lists and typed values.
void Xml() {
    WXmlDoc doc = WXmlDoc::CreateFromString(L"<a n='5'><b/><b/></a>");
    WXmlNode root = doc.GetRootNode();
    const WXmlNodeList bs = root.GetNodes(WXPath(L"b"));
    int count = 0;
    for (WXmlNode node : bs)
        count += node.GetName() == L"b" ? 1 : 0;
    Check(count == 2 && bs.size() == 2, "node list iteration");
    Check(bs.Node(0) != bs.Node(1) && bs.Node(0) == bs.Node(0), "node equality");
    Check(doc == doc.GetRootNode().GetOwnerDocument() && doc != WXmlDoc(), "document equality");
    [[maybe_unused]] bool (WXmlDoc::*docDiffers)(const WXmlDoc&) const = &WXmlDoc::operator!=;
    [[maybe_unused]] bool (WXmlNode::*nodeDiffers)(const WXmlNode&) const = &WXmlNode::operator!=;
    const TlvUtils::optional<int> n = root.Attribute(L"@n").Get<int>();
    Check(n.HasValue() && n.Value() == 5, "typed value");
    try {
        root.GetNode(WXPath(L"missing"));
        Check(false, "GetNode throws when nothing matches");
    } catch (int) {
    }
}

// Units: the registry, the text template, value pairs, parsing and drawing-scale presets.
class Hand : public WUntiDef {
    TLVUTL_DECLARE_DYNCREATE(Hand)
};
TLVUTL_IMPLEMENT_DYNCREATE(Hand, WUntiDef)

void Units() {
    WUnit& u = WUnit::GetDefaultWUnit();
    Check(u.ConvertFromUnitTo10thMicron(1, 1.0, -1.0) == 254000.0, "conversion");
    const CString a = UNITConvToUnitAndStringT<DoubleToStringPolicy>(254000.0, 1, 0, 0, 0);
    const CString b = UNITConvToUnitAndStringT<DoubleToStringPrecisePolicy>(254000.0, 1, 0, 0, 0);
    Check(a == L"1" && b == L"1", "value-to-text template");
    WUnit own;
    own.LoadDefaults(nullptr, -1);
    const int hand = own.AddUnitDefinition(RUNTIME_CLASS(Hand), 1, 1, 2, 3, L"hand", L"hands",
                                           L"hh", L"", 0.1016);
    Check(own.FindDefinition(hand) && own.FindDefinition(hand)->IsKindOf(RUNTIME_CLASS(WUntiDef)),
          "client unit definition class");
    WUnitValuePair pair;
    pair.AddValue(2, 1.5);
    double v = 0;
    Check(pair.GetValue(2, v) && v == 1.5, "value pair");
    Check(u.StringToValue(2, L"1in+1mm", v, WEQ_ALL, DRG_DEG) == 1 && v > 26.39 && v < 26.41,
          "unit parser");
    WEqParser parser(L"2*(3+4)", WEQ_ALL, DRG_DEG);
    Check(parser.GetValue(v) == 1 && v == 14.0, "equation parser");

    namespace WS = TlvUtl::WorldScale;
    WS::PresetSet presets = WS::GetPresets();
    const std::size_t before = presets.size();
    const WS::Preset custom = WS::Format(250.0, 0, 0, 0.0);
    presets.insert(custom);
    Check(presets.size() == before + 1 && presets.find(custom) != presets.end(),
          "preset set insert and find");
    Check(!presets.key_comp()(custom, custom), "preset ordering is strict");
    WS::PresetSet again = WS::GetPresets();
    again.insert(custom);
    const auto less = presets.key_comp();
    Check(!std::lexicographical_compare(again.begin(), again.end(), presets.begin(), presets.end(),
                                        less) &&
              !std::lexicographical_compare(presets.begin(), presets.end(), again.begin(),
                                            again.end(), less),
          "preset sets compare");
    Check(!WS::SelectByValue(custom.Scale()).empty() || custom.Label() == L"1:250",
          "preset selection");
}

// Streams, errors and backups of data.
void Support() {
    TlvUtils::MemoryStream stream;
    ULONG written = 0;
    Check(SUCCEEDED(stream.Write("ab", 2, &written)) && written == 2 && stream.Bytes() == "ab",
          "memory stream");
    try {
        throw ComError(E_FAIL);
    } catch (const ComError& e) {
        Check(e.Error() == E_FAIL, "COM error");
    }
}

} // namespace

int main() {
    // A fresh store, as on a first run: record the installation as an installer would.
    if (!TlvUtl::RegisterDefaultInstallation() || InitModule() != 1) {
        std::puts("InitModule failed");
        return 1;
    }
    Delegates();
    Singletons();
    Strings();
    Lists();
    Trees();
    Xml();
    Units();
    Support();
    if (g_failures)
        return 1;
    std::puts("client: every public template and class works from the installed library");
    return 0;
}
