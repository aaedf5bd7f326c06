#include "posix_faults.h"

#include <dlfcn.h>
#include <pthread.h>

#include <cerrno>

#include "source_utilities/dynamic_library.h"
#include "source_utilities/uThread.h"
#include "thread_flag.h"

// Calls that a sanitizer makes itself, before there is anything to tell it that they fail: these tests are
// not in a program with a sanitizer.
extern "C" {
void* __real_dlsym(void*, const char*);
void* __wrap_dlsym(void* library, const char* name) {
    return PosixFaults::Fails("dlsym") ? nullptr : __real_dlsym(library, name);
}
int __real_pthread_attr_init(pthread_attr_t*);
int __wrap_pthread_attr_init(pthread_attr_t* attributes) {
    return PosixFaults::Fails("pthread_attr_init") ? ENOMEM : __real_pthread_attr_init(attributes);
}
int __real_pthread_attr_setstacksize(pthread_attr_t*, size_t);
int __wrap_pthread_attr_setstacksize(pthread_attr_t* attributes, size_t size) {
    return PosixFaults::Fails("pthread_attr_setstacksize")
               ? EINVAL
               : __real_pthread_attr_setstacksize(attributes, size);
}
int __real_pthread_attr_destroy(pthread_attr_t*);
int __wrap_pthread_attr_destroy(pthread_attr_t* attributes) {
    const int result = __real_pthread_attr_destroy(attributes);
    return PosixFaults::Fails("pthread_attr_destroy") ? EINVAL : result;
}
}

namespace {

using namespace KORR_PLIM;

TEST_F(PosixFaults, ThreadWithoutAttributesIsNotCreated) {
    Flag flag;
    uThread thread(&flag);
    failing = {"pthread_attr_init"};
    EXPECT_FALSE(thread.Start());
    EXPECT_FALSE(flag.ran);
    failing.clear();
    ASSERT_TRUE(thread.Start()) << "nothing is left behind";
    Wait(flag);
}
TEST_F(PosixFaults, RefusedStackSizeLeavesTheDefault) {
    Flag flag;
    uThread thread(&flag, 0, 1 << 20);
    failing = {"pthread_attr_setstacksize", "pthread_attr_destroy"};
    ASSERT_TRUE(thread.Start());
    Wait(flag);
}
TEST_F(PosixFaults, SymbolThatCannotBeFoundIsError127) {
    const platform::LibraryHandle library = platform::LoadDynamicLibrary("tarnel_test_good");
    ASSERT_NE(library, platform::kNoLibrary);
    failing = {"dlsym"};
    EXPECT_EQ(platform::FindSymbol(library, "TarnelTestAnswer"), nullptr);
    EXPECT_EQ(platform::LastLibraryError(), 127U);
    failing.clear();
    EXPECT_NE(platform::FindSymbol(library, "TarnelTestAnswer"), nullptr) << "the library is still there";
    platform::FreeDynamicLibrary(library);
}

}  // namespace
