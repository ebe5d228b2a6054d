// A package on its way from the source.
#ifndef VESK_UPDATE_DOWNLOAD_H
#define VESK_UPDATE_DOWNLOAD_H

#include <string>

#include "Digest.h"
#include "Failure.h"
#include "Files.h"
#include "Manifest.h"
#include "Source.h"

namespace VESK::update {

class Download {
 public:
  Download(const Package& wanted, const std::string& target, Failure& report)
      : package(wanted), path(target), failure(report) {}

  // Brings the file at `path` to the package's size and sum; what is there already is not fetched
  // again. A file that a broken connection cut is kept, a wrong one is not.
  bool complete(Source& source);

 private:
  bool open();
  bool startAgain();
  bool readPresent();
  bool fetch(Source& source);
  bool take(const char* data, std::size_t size);
  bool verify();

  const Package& package;
  const std::string& path;
  Failure& failure;
  Descriptor file;
  Sha256 sum;
  std::uint64_t size = 0;  // bytes in the file, all of them in the sum
};

// Whether a package, of which a part may be kept already, and its files fit on the file system and
// below the process's limit. How many files there are shows only when they are unpacked.
bool hasRoom(const std::string& folder, const std::string& kept, const Package& package,
             Failure& failure);

}  // namespace VESK::update

#endif
