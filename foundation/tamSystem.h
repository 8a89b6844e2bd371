// System services: the scope object around platform calls, modal dialogs and
// processor feature detection.
//
// Dialogs go through a provider. The pack's own default is headless: it
// cancels every file panel and answers a message box with its default (first)
// button. A host with a user interface installs its own provider; the buttons
// offered and the mapping from the button pressed to the result stay here.
#pragma once

#include <cstdint>

#include "foundation/tamFile.h"
#include "foundation/tamString.h"

namespace tam {

class Window;

// Wrapped around every stretch that calls the platform's object library from
// a host thread. Linux needs no pool; the scope stays for the call sites.
class AutoPoolLock {
public:
    AutoPoolLock() {}
    ~AutoPoolLock() {}
    AutoPoolLock(const AutoPoolLock&) = delete;
    AutoPoolLock& operator=(const AutoPoolLock&) = delete;
};

class SystemDialog {
public:
    // What a file panel is asked to show.
    struct FilePanel {
        String title;
        String directory;  // where the panel opens
        String fileName;   // the proposed name (save panels)
        File::Filter* filter = nullptr;
        bool directoriesOnly = false;
        bool multiple = false;
    };

    enum AlertStyle : int { InformationalStyle = 1, CriticalStyle = 2 };
    static constexpr int kFirstButtonReturn = 1000;

    // What a message box is asked to show.
    struct Alert {
        String message;
        String details;
        AlertStyle style = InformationalStyle;
        int buttonCount = 0;
        const char* buttons[3] = {nullptr, nullptr, nullptr};
    };

    class Provider {
    public:
        virtual ~Provider() = default;
        // True with the chosen path (UTF-8) on confirmation.
        virtual bool RunSavePanel(const FilePanel& panel, String& chosen) = 0;
        // True with one or more chosen paths (UTF-8) on confirmation.
        virtual bool RunOpenPanel(const FilePanel& panel, StrArray& chosen) = 0;
        // The button pressed: kFirstButtonReturn for the first, one more for
        // each next; anything else counts as unknown.
        virtual int RunAlert(const Alert& alert) = 0;
    };

    // Null restores the headless default. The provider is not owned.
    static void SetProvider(Provider* provider);
    static Provider& GetProvider();

    static bool SaveDlg(Window* window, File& chosen, File initial, String title, File::Filter* filter);
    static bool OpenDlg(Window* window, File::List& chosen, File initial, String title, File::Filter* filter,
                        bool multiple);
    static bool DirectoryDlg(Window* window, File& chosen, String title);
    // Flags in the manner of a message-box style: bit 0 OK/Cancel (1, 2),
    // else bit 1 Abort/Retry/Ignore (3, 4, 5), else bit 2 Yes/No (6, 7), else
    // OK (1); bit 4 makes the alert critical. 0 for an unknown answer.
    static int MessageDlg(Window* window, String message, String details, unsigned int flags);
};

class CpuFeature {
public:
    struct InstructionFeature {
        bool isIntel;
        bool isAMD;
        uint32_t cpuid1_ecx;
        uint32_t cpuid1_edx;
        uint32_t cpuid7_ebx;
        uint32_t cpuid80000001_edx;
        InstructionFeature();
    };
    static const InstructionFeature _info;

    static constexpr uint32_t kSSEBit = 1u << 25;   // in cpuid1_edx
    static constexpr uint32_t kSSE2Bit = 1u << 26;  // in cpuid1_edx
    static bool HasSSE() { return (_info.cpuid1_edx & kSSEBit) != 0; }
    static bool HasSSE2() { return (_info.cpuid1_edx & kSSE2Bit) != 0; }
};

}  // namespace tam
