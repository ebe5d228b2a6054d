// Packages: compressed tar files.
#ifndef VESK_UPDATE_ARCHIVE_H
#define VESK_UPDATE_ARCHIVE_H

#include <cstdint>
#include <string>

#include "Failure.h"

namespace VESK::update {

// Unpacks the package at `path` (tar, bare or compressed with zstd, xz or gzip) into the empty
// folder and syncs everything. Takes plain files and folders only, whose names are relative,
// printable ASCII and without "..", and at most `limit` bytes. Their sums must be those in the
// package's SHA256SUMS, which names all of them. On failure the folder holds rubbish.
bool unpack(const std::string& path, const std::string& folder, std::uint64_t limit,
            Failure& failure);

}  // namespace VESK::update

#endif
