// Makes a source as its publisher does, or as somebody who is up to no good would.
#ifndef VESK_TESTS_PRODUCT_UPDATE_PUBLISHER_H
#define VESK_TESTS_PRODUCT_UPDATE_PUBLISHER_H

#include <archive_entry.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/TempDir.h"

struct Entry {
  std::string name;
  std::string content{};
  unsigned type = AE_IFREG;
  std::string link{};
  unsigned mode = 0644;
};
using Entries = std::vector<Entry>;

std::string sha256(const std::string& text);

class Publisher {
 public:
  Publisher();

  // Packs the entries as they are, in front of them SHA256SUMS of the files among them, and writes
  // the component into the manifest.
  void offer(const std::string& component, const std::string& version, const Entries& entries);
  // The same without the list of sums.
  void offerBare(const std::string& component, const std::string& version, const Entries& entries);
  // Writes manifest and signature, with the next serial.
  void publish();
  // Signs the manifest's file as it is.
  void sign(const std::string& key = "key.pem") const;
  // Makes "key.pem" and "key.pem.pub", with another name another pair.
  void makeKey(const std::string& key) const;

  nlohmann::json& entry(const std::string& component) { return manifest["packages"][component]; }
  std::string file(const std::string& component) {
    return "source/" + entry(component)["file"].get<std::string>();
  }

  TempDir dir;  // "source" is the source
  nlohmann::json manifest;
};

#endif
