// ZipMemberPassword.cpp: what the member reader and the member writer share: the asking of the
// archive's security provider for a member's password.
#include "common/OVException.h"
#include "zip/ZipCrypto.h"
#include "zip/ZipFile.h"
#include "zip/ZipMemberStreams.h"

WString MemberName(const ZipMemberDescriptor& descriptor) {
    if (descriptor.zip == nullptr || descriptor.index >= descriptor.zip->getMembers().size()) {
        return WString();
    }
    return descriptor.zip->getMemberPath(descriptor.index);
}

bool AskMemberPassword(const ZipMemberDescriptor& descriptor, WString& password) {
    ForgetPassword(password);
    int32_t status = MZipDataSecurityProvider::kPasswordNone;
    if (descriptor.zip != nullptr) {
        status = descriptor.zip->getPassword(*descriptor.zip, MemberName(descriptor),
                                             descriptor.index, false, password);
    }
    if (status == MZipDataSecurityProvider::kPasswordTooLong) {
        ForgetPassword(password);
        throw OVException(kZipPasswordTooLong, "Password is too long");
    }
    if (status != MZipDataSecurityProvider::kPasswordOnce &&
        status != MZipDataSecurityProvider::kPasswordAskAgain) {
        ForgetPassword(password);
        throw OVException(kZipPasswordNotSupplied, "Password not supplied");
    }
    return status == MZipDataSecurityProvider::kPasswordAskAgain;
}
