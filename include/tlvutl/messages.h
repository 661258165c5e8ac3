// Where the library's user-facing messages go: message boxes, beeps, the error and warning
// reports of the message manager, and debug output.
//
// By default a message box is the system's modal box on Windows (MessageBoxW, returning the
// button chosen; beeps are MessageBeep) and one clear line on stderr elsewhere, where the
// library draws no UI. Debug output is silent unless TLV_DEBUG is set. A host routes them into its
// own toolkit by installing a MessageSink; tests install a CapturingMessageSink and inspect what
// was said.
#ifndef TLVUTL_MESSAGES_H
#define TLVUTL_MESSAGES_H

#include <tlvutl/cstring.h>
#include <tlvutl/export.h>
#include <tlvutl/wintypes.h>

#include <functional>
#include <mutex>
#include <vector>

#ifndef MB_OK
// Message-box styles (Win32 values): a box with an OK button, the stop icon (two names), the
// warning and information icons, and a box that stays above every window.
// @{
#define MB_OK 0x00000000u
#define MB_ICONHAND 0x00000010u
#define MB_ICONSTOP MB_ICONHAND
#define MB_ICONWARNING 0x00000030u
#define MB_ICONINFORMATION 0x00000040u
#define MB_SYSTEMMODAL 0x00001000u
// @}
// The button result of a box closed with OK.
#define IDOK 1
#endif

namespace TlvUtl {

// Where messages go; a host implements it over its toolkit and installs it with SetMessageSink.
// Calls may come from any thread. On Windows windows.h makes MessageBox a macro. The library is
// built with UNICODE and its CMake target passes UNICODE on to its users, so the member is
// MessageBoxW on both sides; a host built otherwise defines UNICODE before windows.h.
class TLVUTL_API MessageSink {
public:
    virtual ~MessageSink();
    // A message box; returns the button the user chose (IDOK for a plain box).
    virtual int MessageBox(HWND owner, const wchar_t* text, const wchar_t* caption, UINT style) = 0;
    // A beep of the kind of a box style (MB_ICON...).
    virtual void Beep(UINT type) = 0;
    // An error or a warning report of the message manager.
    // @{
    virtual void ShowError(const wchar_t* text) = 0;
    virtual void ShowWarning(const wchar_t* text) = 0;
    // @}
};

// Installs sink (not owned; it must outlive its use) and returns the previous one. Null
// restores the default sink.
TLVUTL_API MessageSink* SetMessageSink(MessageSink* sink);
// The sink in use: the installed one, else the default (the system's box on Windows, stderr
// elsewhere).
TLVUTL_API MessageSink& GetMessageSink();

// Records everything it is told; thread-safe.
class TLVUTL_API CapturingMessageSink : public MessageSink {
public:
    // Which call a message came from.
    enum class Kind { Box, Beep, Error, Warning };
    // One recorded call: its kind, text, caption (boxes only) and style (boxes, and the type of a
    // beep).
    struct Message {
        // Which call it was.
        Kind kind;
        // The text shown or reported; empty for a beep.
        CString text;
        // The box's caption; empty for the other kinds.
        CString caption;
        // The box's style, or the beep's type; 0 for reports.
        UINT style = 0;
    };
    int MessageBox(HWND owner, const wchar_t* text, const wchar_t* caption, UINT style) override;
    // Record the call; MessageBox answers IDOK.
    // @{
    void Beep(UINT type) override;
    void ShowError(const wchar_t* text) override;
    void ShowWarning(const wchar_t* text) override;
    // @}
    // A copy of the messages recorded so far, oldest first.
    std::vector<Message> Messages() const;
    // Forgets every message recorded.
    void Clear();

private:
    mutable std::mutex m_;
    std::vector<Message> messages_;
};

// Installs a capturing sink for the lifetime of the object and restores the previous one.
class TLVUTL_API ScopedMessageCapture : public CapturingMessageSink {
public:
    ScopedMessageCapture() : previous_(SetMessageSink(this)) {}
    ~ScopedMessageCapture() override { SetMessageSink(previous_); }
    ScopedMessageCapture(const ScopedMessageCapture&) = delete;
    ScopedMessageCapture& operator=(const ScopedMessageCapture&) = delete;

private:
    MessageSink* previous_;
};

// A function that receives debug output text, one call per message.
using DebugOutputSink = std::function<void(const wchar_t*)>;
// Replaces the debug-output sink; an empty function restores the default.
TLVUTL_API void SetDebugOutputSink(DebugOutputSink sink);
// Sends text to the debug-output sink; by default to stderr when TLV_DEBUG is set, else nowhere.
TLVUTL_API void OutputDebugText(const wchar_t* text);

} // namespace TlvUtl

#endif
