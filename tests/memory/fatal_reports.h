// Reading the fatal-error reports of the lists back from a capturing message sink.
#ifndef TLVUTL_TESTS_FATAL_REPORTS_H
#define TLVUTL_TESTS_FATAL_REPORTS_H

#include <tlvutl/frame.h>
#include <tlvutl/messages.h>

#include <string>
#include <vector>

namespace tlvtest {

// The captions of the message boxes shown so far.
inline std::vector<TlvUtl::CapturingMessageSink::Message>
Boxes(const TlvUtl::CapturingMessageSink& sink) {
    std::vector<TlvUtl::CapturingMessageSink::Message> boxes;
    for (const auto& m : sink.Messages())
        if (m.kind == TlvUtl::CapturingMessageSink::Kind::Box)
            boxes.push_back(m);
    return boxes;
}

// True when the box is the list module's report of `code`, with the body text that code
// goes with (the second one for a failed resize).
inline bool IsListFatal(const TlvUtl::CapturingMessageSink::Message& box, UINT code) {
    CString prefix;
    prefix.Format(UTLLoadStringEx(24007), L"listman", code, L"LISTMAN", 0u);
    prefix = prefix.Left(prefix.GetLength() - 1); // up to the line number
    const CString body = UTLLoadStringEx(code == UTL_FATAL_RESIZE ? 24009 : 24008);
    return box.caption.Find(prefix) == 0 && box.text == body && box.style == 0x1010u;
}

// "" when exactly the given codes were reported, in order; otherwise what was.
inline std::string CheckFatalCodes(const TlvUtl::CapturingMessageSink& sink,
                                   const std::vector<UINT>& codes) {
    const auto boxes = Boxes(sink);
    bool ok = boxes.size() == codes.size();
    for (size_t i = 0; ok && i < codes.size(); ++i)
        ok = IsListFatal(boxes[i], codes[i]);
    if (ok)
        return "";
    std::string seen = "reports:";
    for (const auto& b : boxes)
        seen += " [" + b.caption.ToUtf8() + "]";
    return seen;
}

} // namespace tlvtest

#endif
