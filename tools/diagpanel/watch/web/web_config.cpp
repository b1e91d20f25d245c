// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/watch/web/web_config.hpp"

#include <array>
#include <cstring>
#include <filesystem>

#include <crypt.h>
#include <openssl/evp.h>
#include <openssl/sha.h>

#include "tools/diagpanel/watch/document.hpp"
#include "tools/diagpanel/watch/inventory.hpp"

namespace diagpanel {

namespace {

constexpr std::size_t kRememberedMost = 256; // admitted credentials kept, then forgotten at once

std::optional<std::string> decodeBase64(std::string_view text)
{
    std::string bytes((text.size() + 3) / 4 * 3, '\0');
    const int length = EVP_DecodeBlock(reinterpret_cast<unsigned char *>(bytes.data()),
                                       reinterpret_cast<const unsigned char *>(text.data()),
                                       static_cast<int>(text.size()));
    if (length < 0 || text.size() % 4 != 0) {
        return std::nullopt;
    }
    // The block decoder counts padding as bytes.
    const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with("=") ? 1 : 0;
    bytes.resize(static_cast<std::size_t>(length) - padding);
    return bytes;
}

std::string digest(const std::string &text)
{
    std::array<unsigned char, SHA256_DIGEST_LENGTH> sum{};
    SHA256(reinterpret_cast<const unsigned char *>(text.data()), text.size(), sum.data());
    return {reinterpret_cast<const char *>(sum.data()), sum.size()};
}

bool bcryptMatches(const char *password, const std::string &hash)
{
    crypt_data data{};
    const char *made = crypt_r(password, hash.c_str(), &data);
    const bool matches = made != nullptr && made[0] != '*' && strlen(made) == hash.size() &&
                         CRYPTO_memcmp(made, hash.data(), hash.size()) == 0;
    explicit_bzero(&data, sizeof data);
    return matches;
}

} // namespace

WebConfig readWebConfig(const std::string &path)
{
    const Document root = parseDocument(path, readWholeFile(path));
    expect(root, Document::value_t::object, path);
    expectKeys(root, {"tls_server_config", "basic_auth_users"}, path);
    const std::filesystem::path folder = std::filesystem::path(path).parent_path();
    const auto beside = [&](const std::string &file) {
        return std::filesystem::path(file).is_absolute() ? file : (folder / file).string();
    };
    WebConfig config;
    if (root.contains("tls_server_config")) {
        const std::string where = path + ": tls_server_config";
        const Document &tls = expect(root["tls_server_config"], Document::value_t::object, where);
        expectKeys(tls, {"cert_file", "key_file"}, where);
        if (!tls.contains("cert_file") || !tls.contains("key_file")) {
            fail(where, "needs both cert_file and key_file");
        }
        config.certFile = beside(expectString(tls["cert_file"], where + ": cert_file"));
        config.keyFile = beside(expectString(tls["key_file"], where + ": key_file"));
    }
    if (root.contains("basic_auth_users")) {
        const std::string where = path + ": basic_auth_users";
        for (const auto &[user, hash] :
             expect(root["basic_auth_users"], Document::value_t::object, where).items()) {
            std::string at = where;
            at.append(": ").append(user);
            const std::string &text = expectString(hash, at);
            if (!text.starts_with("$2")) {
                fail(at, "not a bcrypt hash ($2a$, $2b$ or $2y$)");
            }
            config.users.emplace(user, text);
        }
    }
    return config;
}

bool Gate::admits(std::string_view authorization) const
{
    if (open()) {
        return true;
    }
    constexpr std::string_view kBasic = "Basic ";
    if (!authorization.starts_with(kBasic)) {
        return false;
    }
    std::optional<std::string> credentials = decodeBase64(authorization.substr(kBasic.size()));
    const std::size_t colon = credentials ? credentials->find(':') : std::string::npos;
    if (colon == std::string::npos) {
        return false;
    }
    const std::string seen = digest(*credentials);
    const auto user = users_.find(credentials->substr(0, colon));
    {
        const std::lock_guard guard(lock_);
        if (admitted_.contains(seen)) {
            explicit_bzero(credentials->data(), credentials->size());
            return true;
        }
    }
    const bool matches =
        user != users_.end() && bcryptMatches(credentials->c_str() + colon + 1, user->second);
    explicit_bzero(credentials->data(), credentials->size());
    if (!matches) {
        return false;
    }
    const std::lock_guard guard(lock_);
    if (admitted_.size() >= kRememberedMost) {
        admitted_.clear();
    }
    admitted_.insert(seen);
    return true;
}

} // namespace diagpanel
