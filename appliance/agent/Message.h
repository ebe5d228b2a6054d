// What a console shows of a mail message.
#ifndef VESK_APPLIANCE_AGENT_MESSAGE_H
#define VESK_APPLIANCE_AGENT_MESSAGE_H

#include <gmime/gmime.h>

#include <memory>
#include <string>
#include <vector>

#include "shared/Descriptor.h"

namespace agent {

using VESK::Descriptor;

class Message {
 public:
  static void initialise();  // once, before there are threads

  explicit Message(Descriptor file);

  bool readable() const { return message != nullptr; }
  // A line each, decoded; at most `limit` bytes.
  std::string header(std::size_t limit) const;
  // The beginning of the first plain text, else that of the first HTML without its marks.
  std::string text(std::size_t limit) const;
  // Name, type and size in bytes of each, joined by tabs.
  std::string attachments(std::size_t limit) const;

 private:
  struct Unref {
    void operator()(void* object) const { g_object_unref(object); }
  };
  void collect(GMimeObject* part, int depth);

  std::unique_ptr<GMimeMessage, Unref> message;
  std::vector<GMimeObject*> attached;  // the message owns them
  GMimePart* plain = nullptr;
  GMimePart* html = nullptr;
};

}  // namespace agent

#endif
