#include <algorithm>
#include <cstring>

#include "JniCommon.h"
#include "ModifiedUtf8.h"
#include "com_brelvik_vesk_ui_modelobjects_jni_UpdateJNI.h"
#include "product/cipher.h"
#include "product/update.h"

namespace {

constexpr int cipherTextSize = 1024;

// In the order of the console's selections and lists. Type 7 is not among them, on purpose.
constexpr BvUpdateType components[] = {
    UPDATE_VIRUS_PATTERN,    UPDATE_SPYWARE_PATTERN, UPDATE_SPAM_PATTERN,
    UPDATE_PHISHING_PATTERN, UPDATE_EXPLOIT_PATTERN, UPDATE_VIRUS_ENGINE,
    UPDATE_SPAM_ENGINE,      UPDATE_FILE_TYPE_RULES, UPDATE_CONTENT_DICTIONARY,
    UPDATE_REPUTATION_RULES,
};

// The components whose position in the text is '1', what is behind the tenth left out. Positions
// are the Java string's: a character beyond ASCII counts as one, however many bytes it has.
std::vector<BvUpdateType> selected(const char* selection) {
  std::vector<BvUpdateType> chosen;
  std::size_t position = 0;
  for (const char* c = selection; *c != '\0' && position < std::size(components); ++c) {
    if ((static_cast<unsigned char>(*c) & 0xC0) == 0x80) continue;
    if (*c == '1') chosen.push_back(components[position]);
    ++position;
  }
  return chosen;
}

// 0 and one text in the list, or why it could not be had. `convert` fills a buffer of
// cipherTextSize + 1 bytes, all zero.
template <typename Convert>
jint convertText(JNIEnv* env, jstring text, jobject list, const Convert& convert) {
  ListClass known;
  const jint code = resolveList(env, known);
  if (known.list != nullptr) env->DeleteGlobalRef(known.list);
  if (code != result::success) return code;
  if (anyNull(text, list)) return result::nullArgument;
  char buffer[cipherTextSize + 1] = {};
  const VeskJniString given(env, text);
  requireRead(given);
  convert(given.str, buffer);
  jstring element = env->NewStringUTF(ModifiedUtf8(buffer).c_str());
  if (element == nullptr) return result::success;  // the VM throws its own OutOfMemoryError
  env->CallBooleanMethod(list, known.add, element);
  // A list that refuses does not change the answer; asked only to keep the VM's own checks silent.
  static_cast<void>(env->ExceptionCheck());
  env->DeleteLocalRef(element);
  return result::success;
}

constexpr std::size_t longestName = 63;

// What the two version queries share: the names go to the second list. The lists' own results are
// ignored, but a list that threw ends the filling.
template <typename Query>
jint listVersions(JNIEnv* env, jobject listA, jobject listB, const Query& query) {
  if (anyNull(listA, listB)) return result::nullArgument;
  BvUpdate update(UPDATE_KIND_COMPONENTS);
  if (!update.ready) return result::updateFailed;
  std::vector<std::string> seconds, firsts;
  for (const BvUpdateType type : components) {
    std::string first, second;
    first.reserve(longestName);  // a name that found no memory would be an empty element
    if (!query(update, type, first, second)) continue;
    seconds.push_back(second);
    firsts.push_back(first);
  }
  static_cast<void>(formJArrListStr(env, seconds, listA));
  if (!env->ExceptionCheck()) static_cast<void>(formJArrListStr(env, firsts, listB));
  return result::success;
}

const char* statusOf(BvUpdateRet result) {
  switch (result) {
    case UPDATE_DONE:
      return "SUCCESS";
    case UPDATE_ROLLBACK_UNAVAILABLE:
      return "ROLLBACK_UNAVAILABLE";
    default:
      return "FAIL";
  }
}

}  // namespace

VESK_JNI(jint, UpdateJNI, getEncryptStr)(JNIEnv* env, jobject, jstring text, jobject list) try {
  return convertText(env, text, list, [](const char* plain, char* buffer) {
    NewEncryptStr(plain, buffer, cipherTextSize);
  });
}
VESK_ON_NO_MEMORY(result::updateFailed)

VESK_JNI(jint, UpdateJNI, getDecryptStr)(JNIEnv* env, jobject, jstring text, jobject list) try {
  return convertText(env, text, list, [](const char* secret, char* buffer) {
    std::strncpy(buffer, secret, cipherTextSize);
    NewDecryptStr(buffer);
  });
}
VESK_ON_NO_MEMORY(result::updateFailed)

VESK_JNI(jint, UpdateJNI, isRunning)(JNIEnv*, jobject) try {
  std::string text;  // not used
  return BvUpdate::isRunning(text) ? result::success : result::noUpdateRunning;
}
VESK_ON_NO_MEMORY(result::noUpdateRunning)

// A component that fails does not keep the others from being updated.
VESK_JNI(jint, UpdateJNI, manualUpdate)
(JNIEnv* env, jobject, jint source, jstring selection, jobject versions) try {
  if (anyNull(versions, selection)) return result::nullArgument;
  const VeskJniString ticked(env, selection);
  if (*ticked.str == '\0') return result::nullArgument;
  BvUpdate update(UPDATE_KIND_COMPONENTS);
  if (!update.ready) return result::updateFailed;
  bool failed = false;
  bool nothingDone = true;
  std::vector<std::string> texts;
  for (const BvUpdateType type : selected(ticked.str)) {
    std::string version;
    const BvUpdateRet outcome = update.download(type, version, false);
    update.logAUEvent(source, type, outcome);
    if (outcome == UPDATE_DONE) nothingDone = false;
    if (outcome != UPDATE_DONE && outcome != UPDATE_NO_CHANGE) failed = true;
    texts.push_back(version);
  }
  update.setUploadNumber();
  static_cast<void>(formJArrListStr(env, texts, versions));
  if (failed) return result::updateFailed;
  return nothingDone ? result::nothingToUpdate : result::success;
}
VESK_ON_NO_MEMORY(result::updateFailed)

VESK_JNI(jint, UpdateJNI, getAvailVersion)(JNIEnv* env, jobject, jobject listA, jobject listB) try {
  return listVersions(env, listA, listB,
                      [](BvUpdate& update, BvUpdateType type, auto& first, auto& second) {
                        constexpr int notAtSource = 2;
                        return update.getAvailVersion(type, first, second, true) != notAtSource;
                      });
}
VESK_ON_NO_MEMORY(result::updateFailed)

VESK_JNI(jint, UpdateJNI, getCurrentVersion)
(JNIEnv* env, jobject, jobject listA, jobject listB) try {
  return listVersions(env, listA, listB,
                      [](BvUpdate& update, BvUpdateType type, auto& first, auto& second) {
                        update.getDBVersion(type, first, second, true);
                        return true;
                      });
}
VESK_ON_NO_MEMORY(result::updateFailed)

VESK_JNI(jint, UpdateJNI, rollback)
(JNIEnv* env, jobject, jint source, jstring selection, jobject results) try {
  if (anyNull(results, selection)) return result::nullArgument;
  const VeskJniString ticked(env, selection);
  if (*ticked.str == '\0') return result::nullArgument;
  BvUpdate update(UPDATE_KIND_COMPONENTS);
  if (!update.ready) return result::updateFailed;
  jint code = result::success;
  std::vector<std::string> texts;
  for (const BvUpdateType type : selected(ticked.str)) {
    const BvUpdateRet outcome = update.rollback(type, source);
    if (outcome != UPDATE_DONE) code = result::updateFailed;
    texts.emplace_back(statusOf(outcome));
  }
  static_cast<void>(formJArrListStr(env, texts, results));
  return code;
}
VESK_ON_NO_MEMORY(result::updateFailed)
