#include "Command.h"
#include "JniCommon.h"
#include "VeskVer.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_BackupJNI.h"

namespace {

// Cut where the buffer ends; the status of a shell that cannot be run gives 255.
jint runScript(const CommandLine& command) { return exitCode(runInShell(command.c_str())); }

}  // namespace

// File names stand in single quotes as they are; the VM's copies of them are never released, on
// purpose.
VESK_JNI(jint, BackupJNI, doExport)(JNIEnv* env, jobject, jstring file) {
  if (file == nullptr) return result::nullArgument;
  const char* name = env->GetStringUTFChars(file, nullptr);
  if (name == nullptr) return exitCode(-1);
  CommandLine command("BackupJNI.doExport", backupCommandSize);
  if (!command.format("%s/script/imp_exp.sh -e '%s'", getVeskHome(), name)) {
    return command.failure(exitCode(-1));
  }
  return runScript(command);
}

VESK_JNI(jint, BackupJNI, doImport)(JNIEnv* env, jobject, jstring a, jstring b) {
  if (anyNull(a, b)) return result::nullArgument;
  const char* first = env->GetStringUTFChars(a, nullptr);
  const char* second = env->GetStringUTFChars(b, nullptr);
  if (anyNull(first, second)) return exitCode(-1);
  CommandLine command("BackupJNI.doImport", backupCommandSize);
  if (!command.format("%s/script/imp_exp.sh -i '%s' '%s'", getVeskHome(), first, second)) {
    return command.failure(exitCode(-1));
  }
  return runScript(command);
}
