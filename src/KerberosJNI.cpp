#include "JniCommon.h"
#include "ModifiedUtf8.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_KerberosJNI.h"
#include "product/directory.h"

// Resolves the list class itself, so that it works before initializeJNI has.
VESK_JNI(jint, KerberosJNI, getSpnFromKeytab)
(JNIEnv* env, jobject, jstring keytabPath, jobject resultList) try {
  if (keytabPath == nullptr) return result::nullArgument;
  char principal[1024] = {};
  // Never released, on purpose.
  const char* path = env->GetStringUTFChars(keytabPath, nullptr);
  // A keytab without a service principal is an answer, and an empty one.
  if (!VESK::get_spn_from_keytab(path, principal, sizeof principal)) return result::success;
  ListClass known;  // its reference is never deleted, on purpose
  if (const jint code = resolveList(env, known); code != result::success) return code;
  if (resultList == nullptr) return result::nullArgument;
  jstring element = env->NewStringUTF(ModifiedUtf8(principal).c_str());
  if (element == nullptr) return result::success;  // the VM throws its own OutOfMemoryError
  env->CallBooleanMethod(resultList, known.add, element);
  // A list that throws does not change the answer; asked only to keep the VM's own checks silent.
  static_cast<void>(env->ExceptionCheck());
  env->DeleteLocalRef(element);
  return result::success;
}
VESK_ON_NO_MEMORY(result::stringNotCreated)
