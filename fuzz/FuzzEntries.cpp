#include "FuzzEntries.h"

#include <stdlib.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "PackageBytes.h"
#include "contacts/ConfigStore.h"
#include "contacts/RecipientsStore.h"
#include "crypto/CertificateStore.h"
#include "crypto/CryptoSession.h"
#include "crypto/HashFile.h"
#include "crypto/IdentityCertificate.h"
#include "engine/ScopedFile.h"
#include "package/ContainerFile.h"
#include "package/PackageEngine.h"
#include "package/StatusText.h"
#include "platform/Profile.h"
#include "platform/Utf.h"

namespace fs = std::filesystem;

namespace fuzzing {

namespace {
    using testing_support::u16;
    fs::path root;
    ContactRecord owner;

    void writeInput(const fs::path& path, const std::uint8_t* data, std::size_t size)
    {
        testing_support::writeBytes(path, testing_support::Bytes(data, data + size));
    }

    // A report must never lead anywhere: any answer is fine, so go on, and read the record as a
    // window would (a name that no longer lives fails here under the sanitizers).
    int readingCallback(
        std::uint32_t operation, std::int64_t total, std::int64_t processed, KvxUtils::UserParameter* parameter)
    {
        const std::u16string name = parameter && parameter->fileName ? parameter->fileName : u"";
        if (processed < 0 || (operation != OpEncrypt && operation != OpError && processed > total))
            std::abort();
        return 1;
    }

    // Mutations almost never keep the digest right, and the digest check is simple; mending it lets
    // the fuzzer reach the entry walk and extraction behind it.
    void writeMended(const fs::path& path, const std::uint8_t* data, std::size_t size, bool mend)
    {
        testing_support::Bytes bytes(data, data + size);
        if (mend && size >= ContainerHeader::Size)
            testing_support::rehash(bytes);
        testing_support::writeBytes(path, bytes);
    }

    // The whole road a received package takes, as the window and the command line take it, into a
    // folder that must hold everything written.
    void extractChecked(const fs::path& package, KvxUtils::UserParameter& record)
    {
        const fs::path out = root / "out";
        fs::remove_all(out);
        fs::create_directories(out);
        PackageEngine engine(owner);
        engine.setPackagePath(u16(package));
        engine.setExtractFolder(u16(out));
        engine.setCallback(readingCallback);
        engine.setUserParameter(&record);
        const EngineStatus status = engine.extract();
        // The scratch area holds the input, the extraction folder and the profile; anything else is
        // a file that extraction put where it must not.
        static const std::set<std::string> ours { "input", "out", "profile", "scratch", "tmp" };
        for (const auto& entry : fs::directory_iterator(root))
            if (!ours.count(entry.path().filename().string()))
                std::abort();
        if (!fs::is_empty(root / "tmp"))
            std::abort();
        // A refused name writes nothing at all; and nothing of the program's own is ever left.
        if (engine.failure().nameRefused && !fs::is_empty(out))
            std::abort();
        for (const auto& entry : fs::recursive_directory_iterator(out))
            if (entry.path().filename().string().rfind(".KVX", 0) == 0)
                std::abort();
        // Whatever the sender put in a name, the message holds no control character.
        if (!status.ok()) {
            for (const char16_t unit : statusText(status, engine.failure()))
                if (unit < 0x20 || (unit >= 0x7F && unit <= 0x9F))
                    std::abort();
        }
    }
} // namespace

void prepare()
{
    if (!root.empty())
        return;
    const char* base = getenv("TMPDIR");
    std::string pattern = std::string(base && *base ? base : "/tmp") + "/halvoren-fuzz-XXXXXX";
    if (!mkdtemp(pattern.data()))
        std::abort();
    root = pattern;
    std::atexit([] {
        std::error_code ignored;
        fs::remove_all(root, ignored);
    });
    fs::create_directories(root / "tmp");
    setenv("TMPDIR", (root / "tmp").c_str(), 1);
    platform::setProfileDirectory(u16(root / "profile"));
    closeCertificateStore();
    owner.name = u"Fuzz Owner";
    auto identity = IdentityCertificate::create(owner.name);
    if (!identity || !identity->addToStore().ok())
        std::abort();
    owner.identity = *identity;
    openCertificateStore(owner.name);
}

void container(const std::uint8_t* data, std::size_t size)
{
    prepare();
    const fs::path input = root / "input";
    writeMended(input, data, size, true);

    KvxUtils::UserParameter record;
    ContainerFile file;
    file.setCallback(readingCallback, &record);
    const platform::FileHandle handle = platform::openFile(u16(input), win::OPEN_EXISTING, win::GENERIC_READ);
    if (file.openForRead(handle).ok()) {
        ContainerEntryList entries;
        file.readEntries(entries);
        setEntriesCallback(entries, readingCallback, &record);
        for (ContainerEntry& entry : entries) {
            ScopedFile target;
            if (target.open(u16(root / "scratch"), win::CREATE_ALWAYS, win::GENERIC_WRITE, 3))
                entry.extractTo(target.handle());
        }
        file.close();
    }

    extractChecked(input, record);
}

void encryptedPackage(const std::uint8_t* data, std::size_t size)
{
    // The encryption refuses an empty source, so nothing can be wrapped.
    if (size == 0)
        return;
    prepare();
    // One input in eight keeps its digest as it came: that package is refused after its entries
    // were decrypted ahead, which must leave nothing either. The fresh session key and envelope
    // each time are a sender's with the owner's key file.
    testing_support::Bytes inner(data, data + size);
    if (size >= ContainerHeader::Size && size % 8 != 7)
        testing_support::rehash(inner);
    const auto package = testing_support::encryptedPackage(inner, owner.identity.certificate(), root / "tmp");
    if (package.empty())
        std::abort();
    testing_support::writeBytes(root / "input", package);
    KvxUtils::UserParameter record;
    extractChecked(root / "input", record);
}

void keyBlob(const std::uint8_t* data, std::size_t size)
{
    const ByteBlob blob(data, static_cast<std::uint32_t>(size));
    ByteBlobPtr iv;
    ByteBlobPtr key = unpackKeyBlob(&blob, iv);
    if (key && (!iv || key->size() + iv->size() + 8 > size))
        std::abort();
}

void envelope(const std::uint8_t* data, std::size_t size)
{
    prepare();
    KvxUtils::UserParameter record;
    CryptoSession session;
    session.setCallback(readingCallback);
    session.setUserParameter(&record);
    const ByteBlob blob(data, static_cast<std::uint32_t>(size));
    session.openEnvelope(&blob);
    writeInput(root / "input", data, size);
    session.readKeyFile(u16(root / "input"));
}

void certificate(const std::uint8_t* data, std::size_t size)
{
    prepare();
    writeInput(root / "input", data, size);
    CertificatePtr loaded = loadCertificateFile(u16(root / "input"));
    if (loaded) {
        certificateDisplayName(loaded);
        certificateSubject(loaded);
        certificateFingerprint(loaded);
        sameCertificate(loaded, owner.identity.certificate());
    }
}

void configStore(const std::uint8_t* data, std::size_t size)
{
    prepare();
    const fs::path path = root / "profile" / "KvxCfg.xml";
    writeInput(path, data, size);
    ConfigStore store;
    store.load(u16(path));
    store.getBool(ConfigKey::DoNotMinimizeToTray);
    store.getInt(ConfigKey::StartOnLogin);
    store.getString(ConfigKey::OwnerName);
    store.setBool(ConfigKey::FirstTimeMinimized, true);
    ConfigStore again;
    again.load(u16(path));
}

void recipientsStore(const std::uint8_t* data, std::size_t size)
{
    prepare();
    const fs::path path = root / "profile" / "RecipientsList.xml";
    writeInput(path, data, size);
    RecipientsStore store;
    std::vector<ContactRecord> contacts;
    // The store holds the owner's certificate, so the file is joined with it, element by element.
    if (store.load(contacts, u16(path)).ok() && !contacts.empty()) {
        ContactRecord changed = contacts.front();
        changed.comments = u"fuzzed";
        store.update(changed);
    }
}

Entry entryFor(const std::string& target)
{
    static const std::map<std::string, Entry> entries { { "container", container }, { "encrypted", encryptedPackage },
        { "keyblob", keyBlob }, { "envelope", envelope }, { "certificate", certificate }, { "config", configStore },
        { "recipients", recipientsStore } };
    const auto found = entries.find(target);
    return found == entries.end() ? nullptr : found->second;
}

} // namespace fuzzing
