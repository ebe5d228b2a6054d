#include "product/notify.h"

namespace VESK {

struct BvResbundle::Table {};

BvResbundle::BvResbundle() = default;
BvResbundle::~BvResbundle() = default;

int BvResbundle::_init(const char*, const char*, const char*) { return -1; }

const char* BvResbundle::getString(const char*, const char* fallback) { return fallback; }

const char* BvResbundle::GetResourceFileName() { return ""; }

}  // namespace VESK
