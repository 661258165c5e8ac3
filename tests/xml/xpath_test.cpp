#include "cstring_printer.h"

#include <tlvutl/xml.h>

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace {

std::wstring Text(const WXPath& p) {
    return static_cast<const CString&>(p).str();
}

// The separator search exactly as it is defined, with the string searches it names; the
// library's single-pass version must agree with it everywhere.
int ModelFindSeparator(const std::wstring& t, int start) {
    const int len = static_cast<int>(t.size());
    if (start < 0 || start >= len)
        return -1;
    auto find = [&](wchar_t c, int from) {
        const auto i = t.find(c, static_cast<std::size_t>(from));
        return i == std::wstring::npos ? -1 : static_cast<int>(i);
    };
    int pos = start;
    for (;;) {
        const int s = find(L'/', pos), o = find(L'[', pos), c = find(L']', pos);
        if (s == -1)
            return -1;
        if (o == -1)
            return c != -1 ? -1 : s;
        if (c == -1 || o > c)
            return -1;
        if (s < o)
            return s;
        pos = c + 1;
        if (pos >= len)
            return -1;
    }
}

int ModelReverseFind(const std::wstring& t, int maxPos) {
    int p = ModelFindSeparator(t, 0);
    if (p == -1 || p > maxPos)
        return -1;
    for (int n = ModelFindSeparator(t, p + 1); n != -1 && n <= maxPos;
         n = ModelFindSeparator(t, p + 1))
        p = n;
    return p;
}

struct Split {
    const wchar_t* path;
    const wchar_t* root;
    const wchar_t* childOfRoot;
    const wchar_t* leaf;
    const wchar_t* parentOfLeaf;
};

TEST(WXPathSteps, SplitsPathsAsDefinedIncludingLeadingSlashes) {
    const Split cases[] = {
        {L"", L"", L"", L"", L""},
        {L"a/b/c", L"a", L"b/c", L"c", L"a/b"},
        {L"/a/b", L"/a", L"b", L"b", L"/a"},
        {L"//a/b", L"//a", L"b", L"b", L"//a"},
        {L"a", L"a", L"", L"a", L""},
        {L"/a", L"/a", L"", L"a", L""}, // the leading "/" is lost by the leaf split
        {L"//a", L"//a", L"", L"a", L"/"},
        {L"a/", L"a", L"", L"", L"a"}, // a trailing "/" leaves an empty leaf
        {L"a[b/c]/d", L"a[b/c]", L"d", L"d", L"a[b/c]"},
        {L"a]/b", L"a]/b", L"", L"a]/b", L""},                // stray "]"
        {L"a[b[c]]/d", L"a[b[c]]/d", L"", L"a[b[c]]/d", L""}, // brackets do not nest
    };
    for (const auto& c : cases) {
        WXPath p(c.path);
        EXPECT_EQ(Text(p.GetRoot()), c.root) << c.path;
        EXPECT_EQ(Text(p.GetChildOfRoot()), c.childOfRoot) << c.path;
        EXPECT_EQ(Text(p.GetLeaf()), c.leaf) << c.path;
        EXPECT_EQ(Text(p.GetParentOfLeaf()), c.parentOfLeaf) << c.path;
        EXPECT_EQ(Text(p), c.path) << "the step operations must not change the path";
    }
}

TEST(WXPathSteps, SeparatorSearchAgreesWithTheDefinitionOnRandomPaths) {
    std::mt19937 rng(1234);
    const wchar_t alphabet[] = L"ab/[]=.";
    for (int round = 0; round < 20000; ++round) {
        std::wstring t;
        const int len = static_cast<int>(rng() % 14);
        for (int i = 0; i < len; ++i)
            t += alphabet[rng() % 7];
        const WXPath p(t.c_str());
        for (int start = -1; start <= len + 1; ++start)
            ASSERT_EQ(p.FindSeparator(start), ModelFindSeparator(t, start))
                << "path '" << CString(t).ToUtf8() << "' start " << start;
        for (int maxPos = -1; maxPos <= len + 1; ++maxPos)
            ASSERT_EQ(p.ReverseFindSeparator(maxPos), ModelReverseFind(t, maxPos))
                << "path '" << CString(t).ToUtf8() << "' maxPos " << maxPos;
    }
}

TEST(WXPathClauses, ReadsOnlyTheLeafsClauses) {
    const WXPath p(L"x[hidden=1]/y[p=1][q=2]");
    CString c;
    EXPECT_TRUE(p.GetFilterClause(0, c));
    EXPECT_EQ(c, L"p=1");
    EXPECT_TRUE(p.GetFilterClause(1, c));
    EXPECT_EQ(c, L"q=2");
    EXPECT_FALSE(p.GetFilterClause(2, c));
    EXPECT_TRUE(c.IsEmpty());
    EXPECT_FALSE(p.GetFilterClause(-1, c));
    EXPECT_FALSE(WXPath().GetFilterClause(0, c));
    EXPECT_TRUE(c.IsEmpty());
    // A "]" before the "[" yields an empty clause; the next pass starts after that "]".
    const WXPath odd(L"a]x[b]");
    EXPECT_TRUE(odd.GetFilterClause(0, c));
    EXPECT_EQ(c, L"");
    EXPECT_TRUE(odd.GetFilterClause(1, c));
    EXPECT_EQ(c, L"b");
}

TEST(WXPathClauses, RemoveCutsTheFirstOccurrenceFromTheLeaf) {
    WXPath p(L"x/y[p=1][q=2]");
    p.RemoveFilterClause(L"p=1");
    EXPECT_EQ(Text(p), L"x/y[q=2]");
    p.RemoveFilterClause(L"absent");
    EXPECT_EQ(Text(p), L"x/y[q=2]");
    WXPath notInLeaf(L"x[p=1]/y");
    notInLeaf.RemoveFilterClause(L"p=1");
    EXPECT_EQ(Text(notInLeaf), L"x[p=1]/y");
    // Rebuilt as parent + "/" + leaf: a leading "/" without a parent is dropped.
    WXPath rooted(L"/a[k]");
    rooted.RemoveFilterClause(L"k");
    EXPECT_EQ(Text(rooted), L"a");
    WXPath dup(L"a[k][k]");
    dup.RemoveFilterClause(L"k");
    EXPECT_EQ(Text(dup), L"a[k]");
}

TEST(WXPathClauses, AddRelocatesRelativeClauses) {
    struct Case {
        const wchar_t* path;
        const wchar_t* clause;
        bool ok;
        const wchar_t* result;
    };
    const Case cases[] = {
        {L"a/b", L"./x=1", true, L"a/b[x=1]"},
        {L"a/b", L"../x=1", true, L"a[x=1]/b"},
        {L"a/b", L"../../x=1", false, L"a/b"},
        {L"a/b", L"y/x=1", false, L"a/b"},
        {L"a/b/c", L"../../x='q=r'", true, L"a[x='q=r']/b/c"},
        {L"b", L"../x=1", false, L"b"},
        {L"a/b", L"x/y", true, L"a/b[x/y]"}, // no "=": appended as it is
    };
    for (const auto& c : cases) {
        WXPath p(c.path);
        EXPECT_EQ(p.AddFilterClause(c.clause), c.ok) << c.path << " + " << c.clause;
        EXPECT_EQ(Text(p), c.result) << c.path << " + " << c.clause;
    }
}

TEST(WXPathNormalize, MovesClausesToTheStepsTheyNameAndKeepsThoseThatCannotMove) {
    struct Case {
        const wchar_t* path;
        const wchar_t* normal;
    };
    const Case cases[] = {
        {L"a/b[../c=2]", L"a[c=2]/b"},
        {L"a/b[./c=2]", L"a/b[c=2]"},
        {L"a/b[z/c=2]", L"a/b[z/c=2]"}, // relocation fails: re-appended
        {L"b[../c=2]", L"b[../c=2]"},   // a single step is never changed
        {L"a/b/c[../../k=1][m]", L"a[k=1]/b/c[m]"},
        {L"a/b[p][../c=2][q]", L"a[c=2]/b[p][q]"},
        // A failed relocation moves the clause to the end and the walk steps past the next
        // one: "[y/d=1]" is never looked at.
        {L"a/b[z/c=2][y/d=1]", L"a/b[y/d=1][z/c=2]"},
        {L"", L""},
        // Relocating these would put them back where they are for ever; they stay in place.
        {L"a/b[c/d]", L"a/b[c/d]"},
        {L"a/b[x=p/q]", L"a/b[x=p/q]"},
        {L"a/b[./x=p/q]", L"a/b[x=p/q]"}, // shortened once, then kept
        {L"a/b[../x=p/q]", L"a[x=p/q]/b"},
    };
    for (const auto& c : cases) {
        WXPath p(c.path);
        p.Normalize();
        EXPECT_EQ(Text(p), c.normal) << c.path;
    }
}

TEST(WXPathLimits, LongPathsNeitherRecurseNorCrawl) {
    std::wstring deep;
    for (int i = 0; i < 20000; ++i)
        deep += L"s/";
    deep += L"leaf[../../x=1]";
    WXPath p(deep.c_str());
    EXPECT_EQ(Text(p.GetLeaf()), L"leaf[../../x=1]");
    EXPECT_EQ(p.ReverseFindSeparator(static_cast<int>(deep.size())),
              static_cast<int>(deep.size()) - 16);
    std::wstring dots = L"a";
    for (int i = 0; i < 5000; ++i)
        dots += L"/b";
    WXPath up(dots.c_str());
    std::wstring clause;
    for (int i = 0; i < 4000; ++i)
        clause += L"../";
    EXPECT_TRUE(up.AddFilterClause((clause + L"k=1").c_str()));
}

} // namespace
