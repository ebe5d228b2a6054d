// The blocks of memory that were taken under watch and are not given back.
#ifndef VESK_TESTS_FAULTS_HELD_H
#define VESK_TESTS_FAULTS_HELD_H

#include <functional>
#include <string>

// Any thread; nothing here allocates, but for the texts.
namespace held {

void add(void* block, void* holder);
bool remove(void* block);  // whether it was held
long count();
long mark();
std::string since(long mark);
long countOf(long mark, const std::function<bool(void* holder)>& isSuch);
std::string nameOf(void* address);  // of code

}  // namespace held

#endif
