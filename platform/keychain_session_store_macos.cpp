#include <CoreFoundation/CoreFoundation.h>
#include <Security/Security.h>

#include <memory>
#include <type_traits>

#include "platform/keychain_session_store.h"

namespace lumivale::platform {

namespace {

struct Releaser {
  void operator()(CFTypeRef object) const {
    if (object) CFRelease(object);
  }
};
template <typename Ref>
using Owned = std::unique_ptr<std::remove_pointer_t<Ref>, Releaser>;

Owned<CFStringRef> cfString(const std::string& text) {
  return Owned<CFStringRef>(
      CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(text.data()),
                              static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false));
}

// The generic-password item of this service and account.
struct ItemQuery {
  Owned<CFStringRef> service, account;
  Owned<CFMutableDictionaryRef> query;

  ItemQuery(const std::string& serviceName, const std::string& accountName)
      : service(cfString(serviceName)),
        account(cfString(accountName)),
        query(CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                        &kCFTypeDictionaryValueCallBacks)) {
    CFDictionarySetValue(query.get(), kSecClass, kSecClassGenericPassword);
    CFDictionarySetValue(query.get(), kSecAttrService, service.get());
    CFDictionarySetValue(query.get(), kSecAttrAccount, account.get());
  }
};

[[noreturn]] void fail(OSStatus status) {
  throw SessionStoreFailure(keychainErrorDescription(status));
}

}  // namespace

std::optional<std::string> KeychainSessionStore::loadSessionToken() {
  ItemQuery item(service_, account_);
  CFDictionarySetValue(item.query.get(), kSecReturnData, kCFBooleanTrue);
  CFDictionarySetValue(item.query.get(), kSecMatchLimit, kSecMatchLimitOne);
  CFTypeRef result = nullptr;
  OSStatus status = SecItemCopyMatching(item.query.get(), &result);
  Owned<CFTypeRef> owned(result);
  if (status == errSecItemNotFound) return std::nullopt;
  if (status != errSecSuccess) fail(status);
  auto data = static_cast<CFDataRef>(result);
  return std::string(reinterpret_cast<const char*>(CFDataGetBytePtr(data)),
                     static_cast<size_t>(CFDataGetLength(data)));
}

void KeychainSessionStore::saveSessionToken(const std::string& token) {
  ItemQuery item(service_, account_);
  Owned<CFDataRef> data(CFDataCreate(kCFAllocatorDefault,
                                     reinterpret_cast<const UInt8*>(token.data()),
                                     static_cast<CFIndex>(token.size())));
  Owned<CFMutableDictionaryRef> change(CFDictionaryCreateMutable(
      kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  CFDictionarySetValue(change.get(), kSecValueData, data.get());
  OSStatus status = SecItemUpdate(item.query.get(), change.get());
  if (status == errSecItemNotFound) {
    CFDictionarySetValue(item.query.get(), kSecValueData, data.get());
    status = SecItemAdd(item.query.get(), nullptr);
  }
  if (status != errSecSuccess) fail(status);
}

void KeychainSessionStore::clearSessionToken() {
  ItemQuery item(service_, account_);
  OSStatus status = SecItemDelete(item.query.get());
  if (status != errSecSuccess && status != errSecItemNotFound) fail(status);
}

bool keychainTrustsThisProgram() {
  SecCodeRef self = nullptr;
  if (SecCodeCopySelf(kSecCSDefaultFlags, &self) != errSecSuccess) return false;
  Owned<SecCodeRef> code(self);
  SecRequirementRef requirement = nullptr;
  if (SecRequirementCreateWithString(CFSTR("anchor apple generic"), kSecCSDefaultFlags,
                                     &requirement) != errSecSuccess) {
    return false;
  }
  Owned<SecRequirementRef> owned(requirement);
  return SecCodeCheckValidity(code.get(), kSecCSDefaultFlags, requirement) == errSecSuccess;
}

}  // namespace lumivale::platform
