// Fontconfig keeps its font cache for the life of the process; under the
// leak checker that memory is not ours to free.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libfontconfig.so\nleak:libpango\nleak:libharfbuzz.so\n";
}
