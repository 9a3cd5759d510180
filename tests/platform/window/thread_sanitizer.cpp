// What ThreadSanitizer is not to report: Qt has threads of its own (for large paints, for the connections to the X
// server and to the message bus), and of the locks between them it knows nothing. What the program's threads do to
// each other is still seen where they do not reach it through Qt: in posting, and in the loop that fetches.
#ifdef __SANITIZE_THREAD__
extern "C" const char *__tsan_default_suppressions();
extern "C" const char *__tsan_default_suppressions() {
    return "race:libQt6Core.so\nrace:libQt6Gui.so\nrace:libQt6XcbQpa.so\nrace:libQt6DBus.so\nrace:libdbus-1.so\n"
           "race:libxcb.so\nrace:libglib-2.0.so\ndeadlock:libdbus-1.so\n";
}
#endif
