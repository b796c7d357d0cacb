// Fontconfig keeps its configuration and font patterns for the life of the process, the
// default Pango font map holding them; the leak checker of the sanitizer build would
// report them at exit. Only allocations made inside fontconfig are let through.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libfontconfig.so\n";
}
