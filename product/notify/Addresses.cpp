#include "product/log.h"
#include "product/notify.h"

bool checkToAddress(std::string& addresses, std::vector<std::string>& recipients) {
  recipients.clear();
  for (std::size_t begin = 0; begin < addresses.size();) {
    const std::size_t end = std::min(addresses.find(';', begin), addresses.size());
    if (end > begin) recipients.push_back(addresses.substr(begin, end - begin));
    begin = end + 1;
  }
  return !recipients.empty();
}
