// Double of the notification library.
#include "product/notify.h"

#include "doubles/Product.h"

bool checkToAddress(std::string& addresses, std::vector<std::string>& recipients) {
  recipients = {"first of " + addresses, "second"};
  return ask("checkToAddress %s", addresses.c_str()) == 0;
}

int NotifyMailCompose(const char* home, const char* queueDirectory, const char* controlFile,
                      const char* dataFile, const char* charset, const char* sender,
                      const char* replySender, std::vector<std::string>& recipients,
                      const char* subject, const char* body) {
  std::string all;
  for (const std::string& recipient : recipients) all += "<" + recipient + ">";
  return ask("compose %s|%s|%s|%s|%s|%s|%s|%s|%s|%s", home, queueDirectory, controlFile, dataFile,
             charset, sender, replySender, all.c_str(), subject, body);
}

namespace VESK {

struct BvResbundle::Table {};

BvResbundle::BvResbundle() { ++product.alive; }
BvResbundle::~BvResbundle() {
  product.calls.emplace_back("delete bundle");
  --product.alive;
}
int BvResbundle::_init(const char* resourceFile, const char* module, const char* locale) {
  return ask("bundle %s %s %s", resourceFile, module, locale);
}
const char* BvResbundle::getString(const char* key, const char* fallback) {
  return ask("text %s", key) == 0 ? fallback : key;
}
const char* BvResbundle::GetResourceFileName() { return "resources"; }

}  // namespace VESK
