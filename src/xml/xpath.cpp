// WXPath: the path text and the step and clause arithmetic on it.
//
// The results follow the separator rule exactly, including its odd corners (a stray "]"
// hides every later separator, brackets do not nest), because paths built by one build of
// the suite must split the same way in another. Only the cost differs: a run of separator
// searches scans the text once, and nothing recurses, so long or hostile paths stay cheap.
#include <tlvutl/xml.h>

#include <climits>
#include <string>
#include <vector>

namespace {

constexpr int kNone = -1;

int Length(const std::wstring& s) {
    return static_cast<int>(s.size());
}

int FindChar(const std::wstring& s, wchar_t ch, int from) {
    if (from < 0 || from >= Length(s))
        return kNone;
    const std::size_t i = s.find(ch, static_cast<std::size_t>(from));
    return i == std::wstring::npos ? kNone : static_cast<int>(i);
}

// Finds separators as FindSeparator defines them. It remembers where it last found each of
// "/", "[" and "]", so a sequence of calls with growing start positions (the only kind
// ReverseFindSeparator makes) costs one pass over the text.
class SeparatorScanner {
public:
    explicit SeparatorScanner(const std::wstring& text) : t_(text) {}

    int Find(int start) {
        const int len = Length(t_);
        if (start < 0 || start >= len)
            return kNone;
        int pos = start;
        for (;;) {
            const int slash = Next(slash_, L'/', pos);
            const int open = Next(open_, L'[', pos);
            const int close = Next(close_, L']', pos);
            if (slash == kNone)
                return kNone;
            if (open == kNone)
                return close == kNone ? slash : kNone; // a stray "]" ends the search
            if (close == kNone || open > close)
                return kNone;
            if (slash < open)
                return slash;
            pos = close + 1; // the "/" lies inside the clause or after it
            if (pos >= len)
                return kNone;
        }
    }

    int FindLast(int maxPos) {
        int last = Find(0);
        if (last == kNone || last > maxPos)
            return kNone;
        for (int next = Find(last + 1); next != kNone && next <= maxPos; next = Find(last + 1))
            last = next;
        return last;
    }

private:
    struct Memo {
        int from = INT_MAX; // searched from here...
        int at = kNone;     // ...and found it here (kNone: not at all)
    };

    int Next(Memo& m, wchar_t ch, int pos) {
        if (m.from <= pos && (m.at == kNone || m.at >= pos))
            return m.at;
        m.from = pos;
        m.at = FindChar(t_, ch, pos);
        return m.at;
    }

    const std::wstring& t_;
    Memo slash_, open_, close_;
};

// The separator that ends the first step: a leading "/" or "//" belongs to the step.
int FirstStepEnd(const std::wstring& text) {
    SeparatorScanner scan(text);
    int p = scan.Find(0);
    if (p == 0) {
        p = scan.Find(1);
        if (p == 1)
            p = scan.Find(2);
    }
    return p;
}

std::wstring Root(const std::wstring& text) {
    const int p = FirstStepEnd(text);
    return p == kNone ? text : text.substr(0, static_cast<std::size_t>(p));
}

std::wstring ChildOfRoot(const std::wstring& text) {
    const int p = FirstStepEnd(text);
    return p == kNone ? std::wstring() : text.substr(static_cast<std::size_t>(p) + 1);
}

int LastSeparator(const std::wstring& text) {
    return SeparatorScanner(text).FindLast(Length(text));
}

std::wstring Leaf(const std::wstring& text) {
    const int p = LastSeparator(text);
    return p == kNone ? text : text.substr(static_cast<std::size_t>(p) + 1);
}

std::wstring ParentOfLeaf(const std::wstring& text) {
    const int p = LastSeparator(text);
    return p == kNone ? std::wstring() : text.substr(0, static_cast<std::size_t>(p));
}

bool FilterClause(const std::wstring& text, int index, std::wstring& clause) {
    clause.clear();
    if (index < 0)
        return false;
    const std::wstring leaf = Leaf(text);
    int pos = 0;
    for (int pass = 0;; ++pass) {
        const int open = FindChar(leaf, L'[', pos);
        const int close = FindChar(leaf, L']', pos);
        if (pass == index) {
            if (open == kNone || close == kNone)
                return false;
            // A "]" before the "[" gives an empty clause, as a clamped Mid would.
            if (close > open + 1)
                clause = leaf.substr(static_cast<std::size_t>(open) + 1,
                                     static_cast<std::size_t>(close - open - 1));
            return true;
        }
        if (close == kNone)
            return false;
        pos = close + 1;
    }
}

// parent + "/" + leaf, or the leaf alone when there is no parent.
std::wstring Join(const std::wstring& parent, const std::wstring& leaf) {
    return parent.empty() ? leaf : parent + L'/' + leaf;
}

// Removes the first "[clause]" from the leaf; false when it is not there.
bool RemoveClause(std::wstring& text, const std::wstring& clause) {
    std::wstring leaf = Leaf(text);
    const std::size_t at = leaf.find(L'[' + clause + L']');
    if (at == std::wstring::npos)
        return false;
    leaf.erase(at, clause.size() + 2);
    text = Join(ParentOfLeaf(text), leaf);
    return true;
}

bool EqualsNoCase(const std::wstring& a, const wchar_t* b) {
    return CString(a.c_str()).CompareNoCase(b) == 0;
}

// AddFilterClause without recursion: every "." keeps the target, every ".." moves it one
// step up and sets that step's leaf aside, to be put back once the clause has landed.
bool AddClause(std::wstring& text, std::wstring clause) {
    std::wstring target = text;
    std::vector<std::wstring> leavesAbove; // innermost last
    for (;;) {
        const std::size_t eq = clause.find(L'=');
        std::wstring rest;
        if (eq != std::wstring::npos)
            rest = ChildOfRoot(clause.substr(0, eq));
        if (eq == std::wstring::npos || rest.empty()) {
            target += L'[' + clause + L']';
            break;
        }
        const std::wstring first = Root(clause.substr(0, eq));
        clause = rest + clause.substr(eq);
        if (EqualsNoCase(first, L"."))
            continue;
        if (!EqualsNoCase(first, L".."))
            return false;
        std::wstring parent = ParentOfLeaf(target);
        if (parent.empty())
            return false;
        leavesAbove.push_back(Leaf(target));
        target = std::move(parent);
    }
    for (auto it = leavesAbove.rbegin(); it != leavesAbove.rend(); ++it)
        target = target + L'/' + *it;
    text = std::move(target);
    return true;
}

// The clause walk over the leaf of text, after its parent has been normalised.
//
// Termination: a relocation that puts a clause back on this same step with the same text
// (a clause holding "/" with no "=", or one whose "/" lies in its value) has changed nothing,
// so the clause stays where it was and the walk moves past it. Every other relocation either
// moves the clause to an earlier step or shortens it, so the walk ends.
void WalkLeafClauses(std::wstring& text) {
    std::wstring clause;
    for (int index = 0; FilterClause(text, index, clause);) {
        if (clause.find(L'/') == std::wstring::npos) {
            ++index;
            continue;
        }
        std::wstring trial = text;
        RemoveClause(trial, clause);
        if (!AddClause(trial, clause)) {
            // Not relocatable: the clause goes to the end of the leaf and the walk moves on.
            RemoveClause(text, clause);
            text += L'[' + clause + L']';
            ++index;
            continue;
        }
        std::wstring landed;
        const bool sameStep = ParentOfLeaf(trial) == ParentOfLeaf(text);
        if (sameStep) {
            int last = 0;
            std::wstring c;
            while (FilterClause(trial, last, c))
                landed = c, ++last;
        }
        if (sameStep && landed == clause) {
            ++index; // no progress possible: keep it in place
            continue;
        }
        text = std::move(trial);
    }
}

} // namespace

WXPath::WXPath() = default;
WXPath::WXPath(const WXPath& other) = default;
WXPath::WXPath(const CString& text) : text_(text) {}
WXPath::WXPath(const wchar_t* text) : text_(text) {}
WXPath::~WXPath() = default;
WXPath& WXPath::operator=(const WXPath& other) = default;

bool WXPath::IsEmpty() const {
    return text_.IsEmpty();
}

int WXPath::FindSeparator(int start) const {
    return SeparatorScanner(text_.str()).Find(start);
}

int WXPath::ReverseFindSeparator(int maxPos) const {
    return SeparatorScanner(text_.str()).FindLast(maxPos);
}

WXPath WXPath::GetRoot() {
    return WXPath(CString(Root(text_.str())));
}

WXPath WXPath::GetChildOfRoot() {
    return WXPath(CString(ChildOfRoot(text_.str())));
}

WXPath WXPath::GetLeaf() {
    return WXPath(CString(Leaf(text_.str())));
}

WXPath WXPath::GetParentOfLeaf() {
    return WXPath(CString(ParentOfLeaf(text_.str())));
}

bool WXPath::GetFilterClause(int index, CString& clause) const {
    std::wstring c;
    const bool found = FilterClause(text_.str(), index, c);
    clause = CString(std::move(c));
    return found;
}

bool WXPath::AddFilterClause(const CString& clause) {
    std::wstring text = text_.str();
    if (!AddClause(text, clause.str()))
        return false;
    text_ = CString(std::move(text));
    return true;
}

void WXPath::RemoveFilterClause(const CString& clause) {
    std::wstring text = text_.str();
    if (RemoveClause(text, clause.str()))
        text_ = CString(std::move(text));
}

void WXPath::Normalize() {
    // The definition recurses on the parent; unrolled, the parents are peeled off first and
    // the leaves are put back one at a time from the root down, each followed by its walk.
    std::vector<std::wstring> leaves;
    std::wstring head = text_.str();
    for (std::wstring parent = ParentOfLeaf(head); !parent.empty(); parent = ParentOfLeaf(head)) {
        leaves.push_back(Leaf(head));
        head = std::move(parent);
    }
    if (leaves.empty())
        return; // a single step is never changed
    for (auto it = leaves.rbegin(); it != leaves.rend(); ++it) {
        head = head + L'/' + *it;
        WalkLeafClauses(head);
    }
    text_ = CString(std::move(head));
}
