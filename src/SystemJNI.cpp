#include <unistd.h>

#include <csignal>

#include "JniCommon.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_SystemJNI.h"

// Whether a signal could be delivered: 0 or -1, as the kernel says; another user's process counts
// as not running.
VESK_JNI(jint, SystemJNI, processRunning)(JNIEnv*, jobject, jint pid) { return kill(pid, 0); }

VESK_JNI(jint, SystemJNI, getPID)(JNIEnv*, jobject) { return getpid(); }
