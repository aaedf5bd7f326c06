// For libraries without a DllMain of their own.
extern "C" int DllMain(void* /*module*/, unsigned long /*reason*/, void* /*reserved*/) { return 1; }
