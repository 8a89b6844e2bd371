// Dialogs through a replaceable provider, and processor feature detection.
#include "foundation/tamSystem.h"

#include <atomic>
#include <cstring>

#if defined(__i386__) || defined(__x86_64__)
#include <cpuid.h>
#endif

namespace tam {

namespace {

// No user to ask: panels are cancelled, alerts take their first button.
class HeadlessProvider : public SystemDialog::Provider {
public:
    bool RunSavePanel(const SystemDialog::FilePanel&, String&) override { return false; }
    bool RunOpenPanel(const SystemDialog::FilePanel&, StrArray&) override { return false; }
    int RunAlert(const SystemDialog::Alert&) override { return SystemDialog::kFirstButtonReturn; }
};

HeadlessProvider headless;
std::atomic<SystemDialog::Provider*> installed{nullptr};

String FromUTF8(const String& text) {
    return String::CreateFromUTF8(reinterpret_cast<const unsigned char*>(static_cast<const char*>(text)),
                                  text.GetLength());
}

// File's own IsDirectory answers false for every existing path; a panel must
// still open inside a folder it is given.
bool IsFolder(const File& file) { return file.Exists() && !file.ExistsAsFile(); }

void PlaceAt(SystemDialog::FilePanel& panel, const File& initial, bool withName) {
    if (IsFolder(initial)) {
        panel.directory = initial.GetFullPath();
    } else {
        panel.directory = initial.GetParentDirectory().GetFullPath();
        if (withName) panel.fileName = initial.GetFileName(true);
    }
}

struct ButtonRow {
    int count;
    const char* titles[3];
    int results[3];
};

constexpr ButtonRow kOkCancel = {2, {"OK", "Cancel", nullptr}, {1, 2, 0}};
constexpr ButtonRow kAbortRetryIgnore = {3, {"Abort", "Retry", "Ignore"}, {3, 4, 5}};
constexpr ButtonRow kYesNo = {2, {"Yes", "No", nullptr}, {6, 7, 0}};
constexpr ButtonRow kOk = {1, {"OK", nullptr, nullptr}, {1, 0, 0}};

// Flags with several bits take the first row that matches (3 is OK/Cancel).
const ButtonRow& RowForFlags(unsigned int flags) {
    if (flags & 1u) return kOkCancel;
    if (flags & 2u) return kAbortRetryIgnore;
    if (flags & 4u) return kYesNo;
    return kOk;
}

}  // namespace

void SystemDialog::SetProvider(Provider* provider) { installed.store(provider); }

SystemDialog::Provider& SystemDialog::GetProvider() {
    Provider* provider = installed.load();
    return provider != nullptr ? *provider : headless;
}

bool SystemDialog::SaveDlg(Window*, File& chosen, File initial, String title, File::Filter* filter) {
    AutoPoolLock pool;
    FilePanel panel;
    panel.title = title;
    panel.filter = filter;
    PlaceAt(panel, initial, true);
    String path;
    if (!GetProvider().RunSavePanel(panel, path)) return false;
    chosen = File(FromUTF8(path));
    return true;
}

bool SystemDialog::OpenDlg(Window*, File::List& chosen, File initial, String title, File::Filter* filter,
                           bool multiple) {
    AutoPoolLock pool;
    FilePanel panel;
    panel.title = title;
    panel.filter = filter;
    panel.multiple = multiple;
    PlaceAt(panel, initial, true);
    StrArray paths;
    if (!GetProvider().RunOpenPanel(panel, paths)) return false;
    for (int i = 0; i < paths.GetCount(); ++i) chosen.Add(new File(FromUTF8(paths.Get(i))));
    return true;
}

bool SystemDialog::DirectoryDlg(Window*, File& chosen, String title) {
    AutoPoolLock pool;
    FilePanel panel;
    panel.title = title;
    panel.directoriesOnly = true;
    PlaceAt(panel, chosen, false);
    StrArray paths;
    if (!GetProvider().RunOpenPanel(panel, paths) || paths.GetCount() < 1) return false;
    chosen = File(FromUTF8(paths.Get(0)));
    return true;
}

int SystemDialog::MessageDlg(Window*, String message, String details, unsigned int flags) {
    AutoPoolLock pool;
    const ButtonRow& row = RowForFlags(flags);
    Alert alert;
    alert.message = message;
    alert.details = details;
    alert.style = (flags & 16u) ? CriticalStyle : InformationalStyle;
    alert.buttonCount = row.count;
    for (int i = 0; i < row.count; ++i) alert.buttons[i] = row.titles[i];
    const int pressed = GetProvider().RunAlert(alert) - kFirstButtonReturn;
    if (pressed < 0 || pressed >= row.count) return 0;
    return row.results[pressed];
}

// ---- CpuFeature --------------------------------------------------------------

CpuFeature::InstructionFeature::InstructionFeature()
    : isIntel(false), isAMD(false), cpuid1_ecx(0), cpuid1_edx(0), cpuid7_ebx(0), cpuid80000001_edx(0) {
#if defined(__i386__) || defined(__x86_64__)
    unsigned int eax = 0, ebx = 0, ecx = 0, edx = 0;
    if (!__get_cpuid(0, &eax, &ebx, &ecx, &edx)) return;
    const unsigned int highest = eax;
    char vendor[13];
    std::memcpy(vendor, &ebx, 4);
    std::memcpy(vendor + 4, &edx, 4);
    std::memcpy(vendor + 8, &ecx, 4);
    vendor[12] = 0;
    isIntel = std::strcmp(vendor, "GenuineIntel") == 0;
    isAMD = std::strcmp(vendor, "AuthenticAMD") == 0;
    if (highest >= 1) {
        __cpuid_count(1, 0, eax, ebx, ecx, edx);
        cpuid1_ecx = ecx;
        cpuid1_edx = edx;
    }
    if (highest >= 7) {
        __cpuid_count(7, 0, eax, ebx, ecx, edx);
        cpuid7_ebx = ebx;
    }
    __cpuid(0x80000000u, eax, ebx, ecx, edx);
    const unsigned int highestExtended = eax;
    if ((highestExtended & 0x80000000u) != 0 && highestExtended > 0x80000000u) {
        __cpuid(0x80000001u, eax, ebx, ecx, edx);
        cpuid80000001_edx = edx;
    }
#endif
}

const CpuFeature::InstructionFeature CpuFeature::_info;

}  // namespace tam
