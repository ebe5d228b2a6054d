#include "com_brelvik_vesk_ui_modelobjects_jni_DbMaintainJNI.h"

#include "JniCommon.h"

// The console keeps its schedule itself; nothing is to be done on this side.
VESK_JNI(jint, DbMaintainJNI, SaveSched)(JNIEnv*, jobject) { return result::success; }
