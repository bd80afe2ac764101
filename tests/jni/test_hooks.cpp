// Test hooks for the Java tests, built into a test copy of the library only:
// the allocator's fault injection and the binding's count of global references.
#include "jni/jni_support.h"
#include "runtime/allocate.h"

#define ORV_HOOK(name) JNICALL Java_COM_orvel_OAPI_Native_TestHooks_##name

extern "C" {

JNIEXPORT void ORV_HOOK(failAllocation)(JNIEnv *, jclass, jlong n) { orv::testing::fail_allocation(n); }
JNIEXPORT jlong ORV_HOOK(injectedFailures)(JNIEnv *, jclass) {
  return static_cast<jlong>(orv::testing::injected_failures());
}
JNIEXPORT jlong ORV_HOOK(liveBlocks)(JNIEnv *, jclass) { return orv::testing::live_blocks(); }
JNIEXPORT jlong ORV_HOOK(liveGlobalRefs)(JNIEnv *, jclass) { return orv::jni::live_globals(); }

}  // extern "C"
