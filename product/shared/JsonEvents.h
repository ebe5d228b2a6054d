// JSON that is read without a tree: the parser's trees need memory to go away, and end the process
// when there is none.
#ifndef VESK_PRODUCT_SHARED_JSON_EVENTS_H
#define VESK_PRODUCT_SHARED_JSON_EVENTS_H

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

namespace VESK {

// Called for each item as it is read; false ends the reading. What a reader does not ask for comes
// to other().
class JsonEvents : public nlohmann::json_sax<nlohmann::json> {
 public:
  bool null() override { return other(); }
  bool boolean(bool) override { return other(); }
  bool number_integer(std::int64_t) override { return other(); }
  bool number_unsigned(std::uint64_t) override { return other(); }
  bool number_float(double, const std::string&) override { return other(); }
  bool binary(binary_t&) override { return false; }
  bool parse_error(std::size_t, const std::string&, const nlohmann::json::exception&) override {
    return false;
  }

 protected:
  virtual bool other() = 0;
};

}  // namespace VESK

#endif
