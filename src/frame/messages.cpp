#include <tlvutl/messages.h>

#include "platform/console.h"
#include "platform/message_box.h"

#include <atomic>

namespace TlvUtl {
namespace {

// One line per message, so scripts and logs read it without a UI.
class ConsoleSink final : public MessageSink {
public:
    int MessageBox(HWND, const wchar_t* text, const wchar_t* caption, UINT) override {
        std::wstring line = caption && *caption ? std::wstring(caption) + L": " : std::wstring();
        line += text ? text : L"";
        for (wchar_t& c : line)
            if (c == L'\n' || c == L'\r')
                c = L' ';
        tlv::platform::WriteErrorLine(line);
        return IDOK;
    }
    void Beep(UINT) override { tlv::platform::SoundBeep(); }
    void ShowError(const wchar_t* text) override { MessageBox(nullptr, text, L"Error", 0); }
    void ShowWarning(const wchar_t* text) override { MessageBox(nullptr, text, L"Warning", 0); }
};

// The system's modal box where there is one. Errors and warnings are boxes with the stop and
// warning icons, as the message manager shows them.
class SystemBoxSink final : public MessageSink {
public:
    int MessageBox(HWND owner, const wchar_t* text, const wchar_t* caption, UINT style) override {
        const int button =
            tlv::platform::ShowMessageBox(owner, text ? text : L"", caption ? caption : L"", style);
        if (button != 0)
            return button;
        // No box could be shown (no desktop, say): the message is not lost.
        return console_.MessageBox(owner, text, caption, style);
    }
    void Beep(UINT type) override { tlv::platform::PlayAlert(type); }
    void ShowError(const wchar_t* text) override {
        MessageBox(nullptr, text, L"Error", MB_OK | MB_ICONSTOP);
    }
    void ShowWarning(const wchar_t* text) override {
        MessageBox(nullptr, text, L"Warning", MB_OK | MB_ICONWARNING);
    }

private:
    ConsoleSink console_;
};

MessageSink& DefaultSink() {
    if (tlv::platform::HasSystemMessageBox()) {
        static SystemBoxSink box;
        return box;
    }
    static ConsoleSink console;
    return console;
}

std::atomic<MessageSink*> g_sink{nullptr};

std::mutex& DebugMutex() {
    static std::mutex m;
    return m;
}

DebugOutputSink& DebugSink() {
    static DebugOutputSink sink;
    return sink;
}

} // namespace

MessageSink::~MessageSink() = default;

MessageSink* SetMessageSink(MessageSink* sink) {
    MessageSink* previous = g_sink.exchange(sink);
    return previous;
}

MessageSink& GetMessageSink() {
    MessageSink* s = g_sink.load();
    return s ? *s : DefaultSink();
}

int CapturingMessageSink::MessageBox(HWND, const wchar_t* text, const wchar_t* caption,
                                     UINT style) {
    std::lock_guard<std::mutex> g(m_);
    messages_.push_back({Kind::Box, text, caption, style});
    return IDOK;
}

void CapturingMessageSink::Beep(UINT type) {
    std::lock_guard<std::mutex> g(m_);
    messages_.push_back({Kind::Beep, CString(), CString(), type});
}

void CapturingMessageSink::ShowError(const wchar_t* text) {
    std::lock_guard<std::mutex> g(m_);
    messages_.push_back({Kind::Error, text, CString(), 0});
}

void CapturingMessageSink::ShowWarning(const wchar_t* text) {
    std::lock_guard<std::mutex> g(m_);
    messages_.push_back({Kind::Warning, text, CString(), 0});
}

std::vector<CapturingMessageSink::Message> CapturingMessageSink::Messages() const {
    std::lock_guard<std::mutex> g(m_);
    return messages_;
}

void CapturingMessageSink::Clear() {
    std::lock_guard<std::mutex> g(m_);
    messages_.clear();
}

void SetDebugOutputSink(DebugOutputSink sink) {
    std::lock_guard<std::mutex> g(DebugMutex());
    DebugSink() = std::move(sink);
}

void OutputDebugText(const wchar_t* text) {
    std::lock_guard<std::mutex> g(DebugMutex());
    if (DebugSink()) {
        DebugSink()(text ? text : L"");
        return;
    }
    static const bool enabled = tlv::platform::HasEnvironment("TLV_DEBUG");
    if (enabled)
        tlv::platform::WriteErrorLine(std::wstring(L"[tlvutl] ") + (text ? text : L""));
}

} // namespace TlvUtl
