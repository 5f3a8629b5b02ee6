// ZipMemberPassword.cpp: what the member reader and the member writer share: the AES kinds and
// the asking of the archive's security provider for a member's password.
#include "common/OVException.h"
#include "zip/ZipCrypto.h"
#include "zip/ZipFile.h"
#include "zip/ZipMemberStreams.h"

bool isAesKind(int32_t kind) { return kind >= kZipAes128 && kind <= kZipAes256; }

WString memberName(const ZipMemberDescriptor& descriptor) {
    if (descriptor.zip == nullptr || descriptor.index >= descriptor.zip->getMembers().size())
        return WString();
    return descriptor.zip->getMemberPath(descriptor.index);
}

bool askMemberPassword(const ZipMemberDescriptor& descriptor, WString& password) {
    forgetPassword(password);
    int32_t status = MZipDataSecurityProvider::kPasswordNone;
    if (descriptor.zip != nullptr)
        status = descriptor.zip->getPassword(*descriptor.zip, memberName(descriptor),
                                             descriptor.index, false, password);
    if (status == MZipDataSecurityProvider::kPasswordTooLong) {
        forgetPassword(password);
        throw OVException(kZipPasswordTooLong, "Password is too long");
    }
    if (status != MZipDataSecurityProvider::kPasswordOnce &&
        status != MZipDataSecurityProvider::kPasswordAskAgain) {
        forgetPassword(password);
        throw OVException(kZipPasswordNotSupplied, "Password not supplied");
    }
    return status == MZipDataSecurityProvider::kPasswordAskAgain;
}
