// ThreadSanitizer suppressions for programs that run Aravis (the tests of the Aravis backend and
// quboid3d-virtual-camera), compiled into each of them so that no option has to name a file. GLib's mutexes
// and Aravis's queues wait on futexes that ThreadSanitizer does not see, and neither library is instrumented,
// so the accesses of interceptors called from inside them (memory, sockets, threads) are left out. Nothing
// else is: a race in this project's code, its callbacks on Aravis's threads included, still reports.
#if defined(__SANITIZE_THREAD__)

// Default visibility: the sanitizer runtime looks the function up in the program.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions() {
    return "called_from_lib:libaravis-0.8.so.0\n"
           "called_from_lib:libglib-2.0.so.0\n"
           "called_from_lib:libgobject-2.0.so.0\n"
           "called_from_lib:libgio-2.0.so.0\n";
}

#endif
