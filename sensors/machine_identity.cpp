#include "sensors/machine_identity.h"

#include "sensors/kernel_files.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <array>
#include <cstdint>

namespace {
// This program's application identifier (a random 128-bit value, fixed
// once): the message the machine's identifier signs.
constexpr std::array<std::uint8_t, 16> TarnwickApplication = {0x6b, 0x1e, 0x2f, 0x93, 0xc4, 0x57, 0x4d, 0x08,
                                                              0xa1, 0x3c, 0x9e, 0x72, 0x05, 0xd8, 0xb6, 0x41};

int HexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}
}  // namespace

std::string MachineIdentityOf(const std::string& machineId)
{
    if (machineId.size() != 32)
        return {};
    std::array<std::uint8_t, 16> key{};
    for (std::size_t k = 0; k < key.size(); ++k) {
        const int high = HexDigit(machineId[2 * k]), low = HexDigit(machineId[2 * k + 1]);
        if (high < 0 || low < 0)
            return {};
        key[k] = static_cast<std::uint8_t>(high * 16 + low);
    }
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int length = 0;
    if (HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()), TarnwickApplication.data(),
             TarnwickApplication.size(), digest.data(), &length) == nullptr ||
        length < 16)
        return {};
    // The first 128 bits, marked as a random (version 4) UUID as systemd marks them.
    digest[6] = static_cast<unsigned char>((digest[6] & 0x0F) | 0x40);
    digest[8] = static_cast<unsigned char>((digest[8] & 0x3F) | 0x80);
    static const char* const hex = "0123456789abcdef";
    std::string id;
    for (std::size_t k = 0; k < 16; ++k) {
        id += hex[digest[k] >> 4];
        id += hex[digest[k] & 0x0F];
    }
    return id;
}

std::string MachineIdentity(const std::string& root)
{
    std::array<char, 64> buffer;
    std::string path = root.empty() ? std::string("/") : root;
    if (path.back() != '/')
        path += '/';
    const ssize_t count = ReadSmallFile((path + "etc/machine-id").c_str(), buffer);
    if (count <= 0)
        return {};
    return MachineIdentityOf(std::string(Trim(std::string_view(buffer.data(), static_cast<std::size_t>(count)))));
}
