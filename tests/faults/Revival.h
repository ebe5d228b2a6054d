// A server that is started once more as it was: same words, environment, folder and outputs, and so
// on the same port.
#ifndef VESK_TESTS_FAULTS_REVIVAL_H
#define VESK_TESTS_FAULTS_REVIVAL_H

#include <sys/types.h>

#include <string>
#include <vector>

// Taken down while it lives.
class Recipe {
 public:
  explicit Recipe(pid_t process);
  pid_t start() const;

 private:
  std::vector<std::string> words, environment;
  std::string program, folder, output;
};

// Ends with its owner.
class Revived {
 public:
  explicit Revived(pid_t process) : child(process) {}
  ~Revived();
  Revived(const Revived&) = delete;
  Revived& operator=(const Revived&) = delete;

 private:
  pid_t child;
};

#endif
