// What the process has from the C heap, without what the heap keeps for later: free blocks of its
// arenas hide a leak, or look like one.
#include <jni.h>
#include <malloc.h>

extern "C" JNIEXPORT jlong JNICALL Java_com_brelvik_vesk_ui_ctl_NativeHeap_inUse(JNIEnv*, jclass) {
  const struct mallinfo2 info = mallinfo2();
  return static_cast<jlong>(info.uordblks + info.hblkhd);
}

extern "C" JNIEXPORT void JNICALL Java_com_brelvik_vesk_ui_ctl_NativeHeap_trim(JNIEnv*, jclass) {
  malloc_trim(0);
}
