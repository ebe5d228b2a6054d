// The codes that entry points answer with; the numbers are the promise to the console.
#ifndef VESK_RESULT_CODE_H
#define VESK_RESULT_CODE_H

#include <jni.h>

namespace result {

inline constexpr jint success = 0;

inline constexpr jint commandNotFormed = 100;  // the command line could not be formatted
inline constexpr jint commandNotStarted = 101;
inline constexpr jint commandPrintedNothing = 102;
inline constexpr jint keyNotConfigured = 103;
inline constexpr jint fileNotOpened = 104;
inline constexpr jint certificateRejected = 105;

inline constexpr jint connectionNotCreated = 200;
inline constexpr jint connectFailed = 201;  // or the bind during connect
inline constexpr jint accountNotFound = 202;
inline constexpr jint bindRefused = 203;
inline constexpr jint notAMember = 204;  // or the parent groups could not be read
inline constexpr jint queryFailed = 205;
inline constexpr jint queryBaseMissing = 206;    // last error 2
inline constexpr jint queryLimitExceeded = 207;  // last error 3
inline constexpr jint baseNotFound = 208;

inline constexpr jint agentFailed = 300;  // not reached, or a wrong answer

inline constexpr jint nullArgument = 500;
inline constexpr jint updateFailed = 500;  // the same number, for any failure of the update family
inline constexpr jint stringNotCreated = 501;
inline constexpr jint addRefused = 503;
inline constexpr jint globalRefNotMade = 508;
inline constexpr jint classNotFound = 510;
inline constexpr jint methodNotFound = 511;
inline constexpr jint noConsoleGuid = 513;
inline constexpr jint keywordInvalid = 516;

inline constexpr jint nothingToUpdate = 600;
inline constexpr jint noUpdateRunning = 601;

}  // namespace result

#endif
