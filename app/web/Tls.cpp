#include "app/web/Tls.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gnutls/crypto.h>
#include <gnutls/gnutls.h>
#include <gnutls/x509.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <memory>
#include <stdexcept>

#include "camera/Descriptor.h"

namespace web {
namespace {

constexpr std::size_t kLongestFile = 1 << 20;
constexpr int kDaysValid = 3650;  // it is trusted by its fingerprint, and nobody would be there to renew it

[[noreturn]] void refuse(const std::string& why)
{
    throw std::runtime_error(why);
}

void need(int result, const std::string& what)
{
    if (result < 0)
    {
        refuse(what + ": " + gnutls_strerror(result));
    }
}

struct CertificateEnd
{
    void operator()(gnutls_x509_crt_t certificate) const { gnutls_x509_crt_deinit(certificate); }
};
using Certificate = std::unique_ptr<gnutls_x509_crt_int, CertificateEnd>;

struct KeyEnd
{
    void operator()(gnutls_x509_privkey_t key) const { gnutls_x509_privkey_deinit(key); }
};
using Key = std::unique_ptr<gnutls_x509_privkey_int, KeyEnd>;

struct CredentialsEnd
{
    void operator()(gnutls_certificate_credentials_t credentials) const
    {
        gnutls_certificate_free_credentials(credentials);
    }
};
using Credentials = std::unique_ptr<gnutls_certificate_credentials_st, CredentialsEnd>;

Certificate newCertificate()
{
    gnutls_x509_crt_t made = nullptr;
    need(gnutls_x509_crt_init(&made), "no memory for a certificate");
    return Certificate(made);
}

Key newKey()
{
    gnutls_x509_privkey_t made = nullptr;
    need(gnutls_x509_privkey_init(&made), "no memory for a key");
    return Key(made);
}

gnutls_datum_t datum(const std::string& text)
{
    return {reinterpret_cast<unsigned char*>(const_cast<char*>(text.data())), static_cast<unsigned>(text.size())};
}

std::string taken(gnutls_datum_t& made)
{
    std::string text(reinterpret_cast<const char*>(made.data), made.size);
    gnutls_memset(made.data, 0, made.size);
    gnutls_free(made.data);
    return text;
}

// Links are followed: what renews certificates changes them.
std::string readPem(const std::string& path, bool secret)
{
    const camera::Descriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat facts = {};
    if (file.number() < 0 || fstat(file.number(), &facts) != 0)
    {
        refuse(path + ": " + std::strerror(errno));
    }
    if (!S_ISREG(facts.st_mode) || facts.st_size > static_cast<off_t>(kLongestFile))
    {
        refuse(path + " is no PEM file");
    }
    if (secret && facts.st_uid != geteuid() && facts.st_uid != 0)
    {
        refuse(path + " belongs to another user (" + std::to_string(facts.st_uid) + ")");
    }
    if (secret && (facts.st_mode & (S_IRWXO | S_IWGRP)) != 0)
    {
        refuse(path + " holds a key that others may read or replace; take that right away (chmod 600)");
    }
    std::string text(static_cast<std::size_t>(facts.st_size), '\0');
    if (read(file.number(), text.data(), text.size()) != static_cast<ssize_t>(text.size()))
    {
        refuse(path + " cannot be read");
    }
    return text;
}

Certificate firstCertificate(const std::string& identity)
{
    Certificate certificate = newCertificate();
    const gnutls_datum_t text = datum(identity);
    need(gnutls_x509_crt_import(certificate.get(), &text, GNUTLS_X509_FMT_PEM), "there is no certificate");
    return certificate;
}

void setNames(gnutls_x509_crt_t certificate, const std::vector<std::string>& names)
{
    for (const std::string& name : names)
    {
        std::array<unsigned char, sizeof(in6_addr)> bytes = {};
        const bool isFour = inet_pton(AF_INET, name.c_str(), bytes.data()) == 1;
        const bool isSix = !isFour && inet_pton(AF_INET6, name.c_str(), bytes.data()) == 1;
        const auto kind = isFour || isSix ? GNUTLS_SAN_IPADDRESS : GNUTLS_SAN_DNSNAME;
        const void* const data = isFour || isSix ? static_cast<const void*>(bytes.data()) : name.data();
        const std::size_t size = isFour ? sizeof(in_addr) : isSix ? sizeof(in6_addr) : name.size();
        need(gnutls_x509_crt_set_subject_alt_name(certificate, kind, data, static_cast<unsigned>(size),
                                                  GNUTLS_FSAN_APPEND),
             "the certificate cannot name " + name);
    }
}

}  // namespace

std::string readIdentity(const std::string& certificateFile, const std::string& keyFile)
{
    const std::string certificates = readPem(certificateFile, false);
    const std::string key = readPem(keyFile, true);
    const gnutls_datum_t certificatesDatum = datum(certificates);
    const gnutls_datum_t keyDatum = datum(key);
    need(gnutls_x509_crt_import(newCertificate().get(), &certificatesDatum, GNUTLS_X509_FMT_PEM),
         certificateFile + " holds no certificate");
    need(gnutls_x509_privkey_import2(newKey().get(), &keyDatum, GNUTLS_X509_FMT_PEM, nullptr, 0),
         keyFile + " holds no key that can be read without a password");
    gnutls_certificate_credentials_t made = nullptr;
    need(gnutls_certificate_allocate_credentials(&made), "no memory for a certificate");
    const Credentials credentials(made);
    need(gnutls_certificate_set_x509_key_mem(made, &certificatesDatum, &keyDatum, GNUTLS_X509_FMT_PEM),
         certificateFile + " and " + keyFile + " do not belong together");
    return certificateFile == keyFile ? key : certificates + "\n" + key;
}

std::string makeIdentity(const std::vector<std::string>& names)
{
    const std::string what = "no certificate can be made";
    const Key key = newKey();
    need(gnutls_x509_privkey_generate(key.get(), GNUTLS_PK_ECDSA, GNUTLS_CURVE_TO_BITS(GNUTLS_ECC_CURVE_SECP256R1), 0),
         what);
    const Certificate certificate = newCertificate();
    std::array<unsigned char, 16> serial;
    need(gnutls_rnd(GNUTLS_RND_NONCE, serial.data(), serial.size()), what);
    serial[0] = 1;  // positive, and not shortened
    const std::time_t now = std::time(nullptr);
    constexpr std::time_t kDay = 24 * 60 * 60;
    need(gnutls_x509_crt_set_version(certificate.get(), 3), what);
    need(gnutls_x509_crt_set_serial(certificate.get(), serial.data(), serial.size()), what);
    need(gnutls_x509_crt_set_dn(certificate.get(), "CN=sensorcam", nullptr), what);
    need(gnutls_x509_crt_set_activation_time(certificate.get(), now - kDay), what);  // clocks differ
    need(gnutls_x509_crt_set_expiration_time(certificate.get(), now + kDaysValid * kDay), what);
    need(gnutls_x509_crt_set_key(certificate.get(), key.get()), what);
    need(gnutls_x509_crt_set_basic_constraints(certificate.get(), 0, -1), what);
    need(gnutls_x509_crt_set_key_usage(certificate.get(), GNUTLS_KEY_DIGITAL_SIGNATURE), what);
    need(gnutls_x509_crt_set_key_purpose_oid(certificate.get(), GNUTLS_KP_TLS_WWW_SERVER, 0), what);
    setNames(certificate.get(), names);
    need(gnutls_x509_crt_sign2(certificate.get(), certificate.get(), key.get(), GNUTLS_DIG_SHA256, 0), what);
    gnutls_datum_t certificateText = {};
    gnutls_datum_t keyText = {};
    need(gnutls_x509_crt_export2(certificate.get(), GNUTLS_X509_FMT_PEM, &certificateText), what);
    std::string identity = taken(certificateText);
    need(gnutls_x509_privkey_export2_pkcs8(key.get(), GNUTLS_X509_FMT_PEM, nullptr, GNUTLS_PKCS_PLAIN, &keyText), what);
    return identity + taken(keyText);
}

bool isOver(const std::string& identity, std::time_t now)
{
    const Certificate certificate = firstCertificate(identity);
    return now < gnutls_x509_crt_get_activation_time(certificate.get()) ||
           now >= gnutls_x509_crt_get_expiration_time(certificate.get());
}

bool isFor(const std::string& identity, const std::string& address)
{
    std::array<unsigned char, sizeof(in6_addr)> bytes = {};
    const bool isFour = inet_pton(AF_INET, address.c_str(), bytes.data()) == 1;
    const bool isSix = !isFour && inet_pton(AF_INET6, address.c_str(), bytes.data()) == 1;
    return (isFour || isSix) && gnutls_x509_crt_check_ip(firstCertificate(identity).get(), bytes.data(),
                                                         isFour ? sizeof(in_addr) : sizeof(in6_addr), 0) != 0;
}

std::string fingerprintOf(const std::string& identity)
{
    const Certificate certificate = firstCertificate(identity);
    std::array<unsigned char, 32> digest;
    std::size_t size = digest.size();
    need(gnutls_x509_crt_get_fingerprint(certificate.get(), GNUTLS_DIG_SHA256, digest.data(), &size),
         "the certificate has no fingerprint");
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string fingerprint;
    for (const unsigned char byte : digest)
    {
        fingerprint += fingerprint.empty() ? "" : ":";
        fingerprint += kDigits[byte >> 4];
        fingerprint += kDigits[byte & 0xf];
    }
    return fingerprint;
}

}  // namespace web
