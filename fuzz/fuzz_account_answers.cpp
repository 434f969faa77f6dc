// What the account service hands back: minted tokens, retry hints, and addresses.
#include <string>

#include "core/account/http_url.h"
#include "core/account/jwt_decoder.h"
#include "core/account/retry_after.h"
#include "fuzz/fuzz_input.h"

using namespace lumivale;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input(FuzzInput::text(data, size));
  try {
    JWTDecoder::parse(input);
  } catch (const JWTDecoder::DecodeError&) {
  }
  retryAfterSeconds(input, 1.7e9);
  if (auto url = HttpUrl::parse(input)) {
    url->effectivePort();
    url->origin();
    HttpUrl::parse(url->text());
  }
  return 0;
}
