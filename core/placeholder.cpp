extern "C" int amPlaceholder(void) { return 0; }
