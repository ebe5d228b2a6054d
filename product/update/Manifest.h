// What a source offers, under its publisher's signature.
#ifndef VESK_UPDATE_MANIFEST_H
#define VESK_UPDATE_MANIFEST_H

#include <cstdint>
#include <map>
#include <string>

#include "Failure.h"

namespace VESK::update {

struct Package {
  std::string version;
  std::string file;  // a plain name in the source's folder
  std::uint64_t size = 0;
  std::uint64_t unpacked = 0;  // bytes of all files in it, at the most
  std::string sha256;
};

struct Manifest {
  std::uint64_t serial = 0;
  std::string issued;
  std::string signer;  // SHA-256 of the public key
  std::map<std::string, Package> packages;
};

// Reads `text` if `signature` is the key's over exactly these bytes; nothing unsigned is parsed.
// Packages above maxPackage bytes, unpacked four times as much, are refused.
bool readManifest(const std::string& text, const std::string& signature, const std::string& keyFile,
                  std::uint64_t maxPackage, Manifest& manifest, Failure& failure);

}  // namespace VESK::update

#endif
