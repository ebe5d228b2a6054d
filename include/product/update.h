// The product's update engine: components that come from a signed source.
//
// Texts are NUL-terminated or std::string, UTF-8. Nothing here throws. Every wait has a time-out. A
// failure leaves one line in the log. Everything may be called from several threads and several
// processes at once: what changes a component takes a lock that all of them share, and who does not
// get it fails at once.
//
// Components live in data/update below the install root, each in a folder of its own, in which
// "current" leads to the version in use and "previous" to the one before; both change in one step
// each, so that a process killed at any moment leaves an old or a new version, never a mix.
//
// Settings read, section "update": "source" (URL of the folder with manifest.json, https:// or
// file:///; http:// only with allow_http = yes; without an account in it), "ca_file" (PEM file of
// the authorities that https trusts, default the system's), "key_file" (PEM file of the Ed25519
// public key that signs the manifest, default config/update-key.pem), "connect_timeout" (seconds,
// default 5), "stall_timeout" (seconds without a byte, default 30), "timeout" (seconds for one
// whole transfer, default 1800), "max_package" (MiB, default 1024; unpacked, four times as much).
// Paths count from the install root. No proxy is used, no redirection followed.
//
// A source's version below the one in use is refused: there is no downgrade but a rollback. A
// manifest with a lower serial than the last accepted one is refused as well.
#ifndef VESK_PRODUCT_UPDATE_H
#define VESK_PRODUCT_UPDATE_H

#include <memory>
#include <string>

// Prepares the update engine for this process: checks the install root and opens what later update
// calls work on.
class BvUpdateInit {
 public:
  BvUpdateInit();
  ~BvUpdateInit();
  BvUpdateInit(const BvUpdateInit&) = delete;
  BvUpdateInit& operator=(const BvUpdateInit&) = delete;

  // `home` is the install root. False when the engine cannot work there; the log says why.
  bool Init(const std::string& home);

  // Stays the first byte of the object: callers look at it before they initialise a second time.
  bool initialised;
};

enum BvUpdateKind : int { UPDATE_KIND_COMPONENTS = 0 };

// What is updated. 7 is not given out.
enum BvUpdateType : int {
  UPDATE_VIRUS_PATTERN = 0,
  UPDATE_SPYWARE_PATTERN = 1,
  UPDATE_SPAM_PATTERN = 2,
  UPDATE_PHISHING_PATTERN = 3,
  UPDATE_EXPLOIT_PATTERN = 4,
  UPDATE_VIRUS_ENGINE = 5,
  UPDATE_SPAM_ENGINE = 6,
  UPDATE_FILE_TYPE_RULES = 8,
  UPDATE_CONTENT_DICTIONARY = 9,
  UPDATE_REPUTATION_RULES = 10,
};

enum BvUpdateRet : int {
  UPDATE_NO_CHANGE = 0,
  UPDATE_DONE = 1,
  UPDATE_FAILED = 2,
  UPDATE_ROLLBACK_UNAVAILABLE = 4,
};

class BvUpdate {
 public:
  explicit BvUpdate(BvUpdateKind kind);
  ~BvUpdate();
  BvUpdate(const BvUpdate&) = delete;
  BvUpdate& operator=(const BvUpdate&) = delete;

  // False when BvUpdateInit::Init was not called or failed, or the kind is unknown.
  bool ready;

  // Whether any process changes a component now; `text` then says which, since when and who, e.g.
  // "spam-pattern download since 2026-11-21T10:15:00 pid 4711", else it is empty.
  static bool isRunning(std::string& text);

  // Brings a component to the source's version. `version` becomes the version in use afterwards,
  // empty when there is none. With `force` a version equal to the one in use, or to the one that a
  // rollback left, is fetched again. A manifest, or that there is none, is believed for a minute:
  // the components of one click share it. It is read again when another object or process has
  // accepted a later one meanwhile. FAILED, also when another update is running, leaves the version
  // in use as it was, unless the log says that the change is decided.
  BvUpdateRet download(BvUpdateType type, std::string& version, bool force);

  // Back to the version before. What it left is remembered and not fetched again without force; the
  // source's next other version above the one in use is. There is one step back. Writes the event
  // itself: `source` is who asked.
  BvUpdateRet rollback(BvUpdateType type, int source);

  // 0: `first` is the component's name, `second` the version at the source. 2: the source has no
  // such component, or cannot be read. With `cached`, the manifest that this object read and
  // checked before is used again, and so is its failure to. Both texts are empty on 2.
  int getAvailVersion(BvUpdateType type, std::string& first, std::string& second, bool cached);
  // 0: `first` is the component's name, `second` the version in use; 1: none is installed, and
  // `second` is empty, or memory ended.
  int getDBVersion(BvUpdateType type, std::string& first, std::string& second, bool cached);

  // Appends one line to log/update-events.log below the install root: time, source, component,
  // result and version in use, as "time=... source=... component=... result=... version=...".
  void logAUEvent(int source, BvUpdateType type, BvUpdateRet result);

  // Counts the updates that the console asked for, in data/update/upload-number: a decimal number
  // and a newline, one higher with each call.
  void setUploadNumber();

 private:
  struct Engine;
  std::unique_ptr<Engine> engine;  // null unless ready
};

#endif
