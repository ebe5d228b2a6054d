// Key tables: the name of the newest service that is in one, or nothing.
#include "Fuzz.h"
#include "product/directory.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::silenceLog();
  fuzz::Input input(data, size);
  const int room = input.byte();
  const fuzz::MemoryFile file(input.rest());
  constexpr int wide = 4096;
  fuzz::GuardedBuffer whole(wide);
  fuzz::GuardedBuffer cut(static_cast<std::size_t>(room));
  const bool found = VESK::get_spn_from_keytab(file.path().c_str(), whole.data(), wide);
  FUZZ_EXPECT(VESK::get_spn_from_keytab(file.path().c_str(), cut.data(), room) ==
              (found && room > 0));
  FUZZ_EXPECT(found != whole.text().empty());
  if (!found) return 0;
  // A service has a name and a host.
  FUZZ_EXPECT(whole.text().find('/') != std::string_view::npos);
  if (room > 0) FUZZ_EXPECT(whole.text().starts_with(cut.text()));
  if (room > 0 && fuzz::isUtf8(whole.text())) FUZZ_EXPECT(fuzz::isUtf8(cut.text()));
  return 0;
}
