// A real VM in the process, and its function table with every slot that the bridge uses wrapped:
// what the VM does is neither counted nor failed, and what is taken from it is kept account of.
#ifndef VESK_TESTS_FAULTS_VM_H
#define VESK_TESTS_FAULTS_VM_H

#include <jni.h>

#include <string>

class Vm {
 public:
  Vm();  // once in a process

  JNIEnv* env = nullptr;

  // Arguments; they live as long as the process.
  jstring text(const std::string& utf8);
  jbyteArray bytes(const std::string& content);
  jintArray numbers(std::initializer_list<jint> values);
  jobject list(std::initializer_list<const char*> elements = {});

  // What a list, a string or an int[] holds, as one text.
  std::string show(jobject object);

  // Things taken and not given back, since the start: strings, elements, references.
  static long held();

 private:
  template <typename Object>
  Object keep(Object local);
};

#endif
