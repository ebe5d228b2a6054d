// The folder, mostly on a web server, that updates come from.
#ifndef VESK_UPDATE_SOURCE_H
#define VESK_UPDATE_SOURCE_H

#include <curl/curl.h>

#include <functional>
#include <memory>
#include <string>

#include "Failure.h"
#include "Options.h"

namespace VESK::update {

// Keeps its connection between requests. For one thread at a time.
class Source {
 public:
  // Takes a piece of the content; false ends the transfer, the taker has filled the failure then.
  using Sink = std::function<bool(const char* data, std::size_t size)>;

  enum class End { whole, failed, cannotResume };

  explicit Source(const Options& settings);

  // The content of `name` from byte `from` on.
  End fetch(const std::string& name, std::uint64_t from, const Sink& sink, Failure& failure);
  // All of it, at most `limit` bytes.
  bool fetchText(const std::string& name, std::size_t limit, std::string& text, Failure& failure);

 private:
  struct Cleanup {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
  };

  [[nodiscard]] CURLcode prepare(const std::string& name, std::uint64_t from);
  bool fail(const std::string& name, CURLcode code, Failure& failure) const;

  const Options& options;
  std::unique_ptr<CURL, Cleanup> curl;
  char words[CURL_ERROR_SIZE] = {};
};

}  // namespace VESK::update

#endif
