#include "package/PackageEngine.h"

#include <algorithm>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <thread>

#include "crypto/CertificateStore.h"
#include "crypto/CryptoSession.h"
#include "package/EntrySplitter.h"
#include "package/ReportRelay.h"
#include "package/SourcePrefetch.h"
#include "platform/LastError.h"
#include "platform/TempFile.h"
#include "platform/Utf.h"

namespace {
constexpr std::uint32_t ReadWrite = win::GENERIC_READ | win::GENERIC_WRITE;
constexpr std::uint32_t ShareAll = win::FILE_SHARE_READ | win::FILE_SHARE_WRITE;
// Longest temporary folder path that still leaves room for a file name, as the format's
// original 261-character limit did.
constexpr std::size_t MaxTempDirectory = 261;
// The system's limit for a path, in bytes with its terminating NUL. An entry whose path below the
// folder would be longer can't be written or opened again, and a name of a hundred thousand
// separators would otherwise make as many nested folders first.
constexpr std::size_t MaxPathBytes = 4096;
// The longest name of one file or folder that Linux file systems take.
constexpr std::size_t MaxNameBytes = 255;

EngineStatus lastErrorStatus() { return EngineStatus(platform::lastError(), SeverityError); }

bool isDrive(const std::u16string& part)
{
    return part.size() >= 2 && part[1] == u':'
        && ((part[0] >= u'A' && part[0] <= u'Z') || (part[0] >= u'a' && part[0] <= u'z'));
}

std::u16string joinPath(const std::u16string& folder, const std::u16string& name)
{
    if (folder.empty() || folder.back() == NativeSeparator)
        return folder + name;
    return folder + NativeSeparator + name;
}

// What a new file gets: what the umask allows of 0666. Read once for a run; reading it costs
// more than writing a small file.
mode_t newFileMode() { return platform::NewUserFileMode & ~platform::currentUmask(); }

// What a file the user asked for gets: the permissions of the file it replaces, else `newMode`.
// Only the permissions: a set-user-ID, set-group-ID or sticky bit of the earlier file is dropped,
// though the rule is to keep the earlier mode as it was. Content that came in a package (or a
// package just made) must never run with the rights of whoever owned the file it replaced.
mode_t modeFor(platform::EntryKind existing, mode_t existingMode, mode_t newMode)
{
    return existing == platform::EntryKind::Regular ? (existingMode & 0777) : newMode;
}

// A private temporary in the temporary folder; on failure, `failedIn` names the folder if it is
// the folder's fault.
EngineStatus makeTemp(platform::PrivateTemp& temp, std::u16string& failedIn)
{
    const std::u16string folder = platform::tempDirectory();
    if (folder.empty() || folder.size() > MaxTempDirectory)
        return EngineStatus(win::ERROR_INVALID_DATA, SeverityError);
    if (!temp.createInTempDirectory()) {
        failedIn = folder;
        return lastErrorStatus();
    }
    return EngineStatus();
}

// How many entries of one package may wait in files of their own for the check: each holds a
// descriptor until then, and the process needs some for everything else.
std::size_t entryFileLimit()
{
    const std::size_t limit = platform::raiseOpenFileLimit();
    return limit > 256 ? (limit - 256) / 2 : 0;
}

// True if the file open as `package` starts with the header of an encrypted package. Its position
// is left at the start.
bool isEncryptedPackage(platform::FileHandle package)
{
    std::uint8_t bytes[ContainerHeader::Size] {};
    std::size_t got = 0;
    const bool read = platform::readFile(package, bytes, sizeof bytes, got);
    platform::seekFile(package, 0, platform::SeekFrom::Begin);
    const ContainerHeader header = ContainerHeader::fromBytes(bytes);
    return read && got == sizeof bytes && header.magic == ContainerMagic && header.entryCount > 0
        && (header.containerType & ContainerTypeEncrypted);
}

// The decryption of an encrypted package, on a second thread while the engine's own thread checks
// the package's digest: the two are the larger part of an extraction, and each takes a core. The
// work reads the package through a handle of its own and decrypts the data entry straight from
// it, hashing the plain text for the inner package's check as it goes; the splitter puts each
// entry's data into an unnamed file in the chosen folder and the rest into a private temporary.
// Its reports wait in the relay until the engine has found the package whole; a package that
// fails the check throws the work away, and nothing of it ever has a name in the user's folder.
class DecryptionAhead {
public:
    // Entries go straight into files of their own in `folder`, if it can be opened. With
    // `discardData` no content is kept anywhere: the inner package's temporary gets only its
    // index, for a check.
    DecryptionAhead(platform::FileHandle package, const std::u16string& folder, bool discardData = false)
        : package_(package), folderPath_(folder), discardData_(discardData)
    {
        thread_ = std::thread(&DecryptionAhead::run, this);
    }
    ~DecryptionAhead()
    {
        relay_.cancel();
        if (thread_.joinable())
            thread_.join();
    }
    DecryptionAhead(const DecryptionAhead&) = delete;
    DecryptionAhead& operator=(const DecryptionAhead&) = delete;

    // Waits for the work, passing its reports on; a stop answers as it would have in the work.
    EngineStatus finish(EngineCallback callback, KvxUtils::UserParameter* record)
    {
        std::uint32_t stoppedAt = 0;
        const bool delivered = relay_.deliver(callback, record, stoppedAt);
        thread_.join();
        if (!delivered)
            status_ = EngineStatus(stoppedAt == OpDecrypt ? win::ERROR_CANNOT_MAKE : win::ERROR_CANCELLED,
                                   SeverityError);
        if (!status_.ok())
            plain.discard();
        return status_;
    }

    // After finish: the inner package with the digest of its hashed range, if there was a key
    // and data to decrypt; on failure, what the failure concerns.
    platform::PrivateTemp plain;
    std::optional<Md5Digest> digest;
    std::unique_ptr<EntrySplitter> splitter;
    bool indexFailed = false;
    std::u16string failedIn;

private:
    void run()
    {
        status_ = decrypt();
        relay_.close();
    }

    EngineStatus decrypt()
    {
        const EngineStatus cannotMake(win::ERROR_CANNOT_MAKE, SeverityError);
        ContainerFile container;
        struct Closer {
            ContainerFile& container;
            ~Closer() { container.close(); }
        } closer {container};
        ContainerIndex index;
        EngineStatus status = container.openForReadAhead(package_);
        if (status.ok())
            status = container.readIndex(index);
        if (!status.ok()) {
            indexFailed = true;
            return status;
        }
        // The reports of copying every entry out, as before the data was read in place. A later
        // entry of the same kind wins.
        std::optional<ContainerEntry> key;
        std::optional<ContainerEntry> data;
        for (std::size_t i = 0; i < index.size(); ++i) {
            ContainerEntry entry = index.entry(i);
            entry.setCallback(relay_.callback());
            entry.setUserParameter(relay_.record());
            status = entry.reportCopy();
            if (!status.ok())
                return status;
            ((entry.type() & EntryTypeKey) ? key : data) = std::move(entry);
        }
        if (!key || !data)
            return EngineStatus();

        if (key->size() > static_cast<std::int64_t>(CryptoSession::LargestEnvelope))
            return cannotMake;
        std::vector<std::uint8_t> envelope(static_cast<std::size_t>(key->size()));
        std::size_t got = 0;
        if (!platform::seekFile(container.handle(), key->dataOffset(), platform::SeekFrom::Begin)
            || !platform::readFile(container.handle(), envelope.data(), envelope.size(), got) || got != envelope.size())
            return cannotMake;
        CryptoSession session;
        session.setCallback(relay_.callback());
        session.setUserParameter(relay_.record());
        const SessionKeyPtr sessionKey = session.openKey(envelope.data(), envelope.size());
        // A private key that can't be read is told as such; any other failure of the envelope is
        // the decryption's as a whole.
        if (!sessionKey)
            return platform::lastError() == win::NTE_BAD_KEYSET ? EngineStatus(win::NTE_BAD_KEYSET, SeverityError)
                                                                 : cannotMake;

        status = makeTemp(plain, failedIn);
        if (!status.ok())
            return status;
        ScopedFile folder(platform::openDirectory(folderPath_));
        splitter = std::make_unique<EntrySplitter>(plain.handle(), folder.handle(), folderPath_, entryFileLimit());
        if (discardData_)
            splitter->discardData();
        // The inner package is checked next; its digest is taken as it is decrypted.
        session.hashOutputFrom(HashedRangeStart);
        const bool decrypted = platform::seekFile(container.handle(), data->dataOffset(), platform::SeekFrom::Begin)
            && session.decryptRange(
                container.handle(), data->size(),
                [this](const std::uint8_t* bytes, std::size_t size) { return splitter->write(bytes, size); },
                sessionKey.get())
            && splitter->finish();
        if (!decrypted) {
            if (!splitter->folderFailed())
                return cannotMake;
            // A write in the chosen folder failed (a full disk, say): told as such, naming the
            // folder, not as a failure of the decryption.
            failedIn = folderPath_;
            return lastErrorStatus();
        }
        digest = session.outputDigest();
        return EngineStatus();
    }

    platform::FileHandle package_;
    std::u16string folderPath_;
    bool discardData_ = false;
    ReportRelay relay_;
    EngineStatus status_;
    std::thread thread_;
};

// The package is written to a private temporary (0600, unnamed where the file system allows) in
// its final folder and put at its path only when it is complete, so that a failed, stopped or
// killed run never leaves half a package, nor plain text under a name, nor destroys an earlier
// package.
class StagedPackage {
public:
    explicit StagedPackage(const std::u16string& target)
        : target_(target)
    {
        const auto slash = target.rfind(NativeSeparator);
        folder_ = slash == std::u16string::npos ? u"." : slash == 0 ? u"/" : target.substr(0, slash);
        name_ = slash == std::u16string::npos ? target : target.substr(slash + 1);
    }

    EngineStatus open()
    {
        directory_.adopt(platform::openDirectory(folder_));
        if (!directory_.isOpen())
            return lastErrorStatus();
        // Named stand-ins of earlier runs that died on a file system without unnamed files.
        platform::sweepStaleTemporaries(folder_, platform::HiddenTempPrefix);
        if (!temp_.create(directory_.handle(), folder_, platform::HiddenTempPrefix))
            return lastErrorStatus();
        return EngineStatus();
    }
    // A second handle for the writer, which closes its own.
    platform::FileHandle duplicate() const { return platform::duplicateHandle(temp_.handle()); }

    EngineStatus commit()
    {
        mode_t existingMode = 0;
        const platform::EntryKind existing = platform::entryKindAt(directory_.handle(), name_, &existingMode);
        if (existing == platform::EntryKind::Directory)
            return EngineStatus(win::ERROR_ACCESS_DENIED, SeverityError);
        if (!platform::setFileMode(temp_.handle(), modeFor(existing, existingMode, newFileMode()))
            || !temp_.publish(directory_.handle(), name_))
            return lastErrorStatus();
        platform::syncFile(directory_.handle());
        return EngineStatus();
    }

private:
    std::u16string target_;
    std::u16string folder_;
    std::u16string name_;
    ScopedFile directory_;
    platform::PrivateTemp temp_;
};
} // namespace

PackageEngine::PackageEngine(const ContactRecord& ownContact) { openCertificateStore(ownContact.name); }

EngineStatus PackageEngine::failedOn(const EngineStatus& status, const std::u16string& path, bool packageInvalid)
{
    if (!status.ok() && failure_.path.empty()) {
        failure_.path = path;
        failure_.packageInvalid = packageInvalid;
    }
    return status;
}

EngineStatus PackageEngine::createTempFile(platform::PrivateTemp& temp, ScopedFile& file)
{
    std::u16string folder;
    const EngineStatus made = makeTemp(temp, folder);
    if (!made.ok())
        return failedOn(made, folder);
    file.adopt(platform::duplicateHandle(temp.handle()));
    if (!file.isOpen()) {
        const EngineStatus status = lastErrorStatus();
        temp.discard();
        return status;
    }
    return EngineStatus();
}

std::u16string PackageEngine::entryNameFor(
    const std::u16string& path, std::uint32_t mode, const std::set<std::u16string>& roots)
{
    std::u16string name = path;
    // Roots sort before the folders below them, so the first that fits is the shortest: a file
    // added twice, once with its folder and once below it, keeps one name.
    const auto root = (mode & NameModeRelative) ? std::find_if(roots.begin(), roots.end(),
                          [&](const std::u16string& r) { return !r.empty() && path.compare(0, r.size(), r) == 0; })
                                                : roots.end();
    if (root != roots.end()) {
        name = path.substr(root->size());
    } else if (mode & NameModeFullPath) {
        const auto first = path.find(NativeSeparator);
        if (first != std::u16string::npos)
            name = path.substr(first + 1);
    } else if (mode & NameModeBareName) {
        const auto last = path.rfind(NativeSeparator);
        if (last != std::u16string::npos)
            name = path.substr(last + 1);
    }
    for (char16_t& unit : name) {
        if (unit == NativeSeparator)
            unit = u'\\';
    }
    return name;
}

std::vector<std::pair<std::u16string, std::u16string>> PackageEngine::nameClashes() const
{
    std::vector<std::pair<std::u16string, std::u16string>> clashes;
    std::map<std::u16string, const std::u16string*> stored;
    for (const std::u16string& path : files_) {
        const auto [earlier, added] = stored.emplace(entryNameFor(path, nameMode_, nameRoots_), &path);
        if (!added)
            clashes.emplace_back(*earlier->second, path);
    }
    return clashes;
}

EngineStatus PackageEngine::splitEntryName(const std::u16string& name, std::vector<std::u16string>& parts,
                                           std::u16string* refusedBecause)
{
    parts.clear();
    if (refusedBecause)
        refusedBecause->clear();
    const EngineStatus invalid(win::ERROR_INVALID_NAME, SeverityError);
    std::u16string part;
    auto take = [&]() -> bool {
        if (part.empty() || part == u".") {
            part.clear();
            return true;
        }
        const char16_t* why = part == u".."                           ? u"the name holds \"..\""
            : part.find(u'\0') != std::u16string::npos                 ? u"the name holds a NUL character"
            : parts.empty() && isDrive(part)                           ? u"the name starts with a drive"
                                                                       : nullptr;
        if (why) {
            if (refusedBecause)
                *refusedBecause = why;
            return false;
        }
        parts.push_back(std::move(part));
        part.clear();
        return true;
    };
    // Both separators count: Windows reads a slash in a path as a backslash too.
    for (char16_t unit : name) {
        if (unit == u'\\' || unit == u'/') {
            if (!take())
                return invalid;
        } else {
            part += unit;
        }
    }
    if (!take() || parts.empty()) {
        if (parts.empty() && refusedBecause && refusedBecause->empty())
            *refusedBecause = u"the name holds no file name";
        parts.clear();
        return invalid;
    }
    return EngineStatus();
}

EngineStatus PackageEngine::appendEntryDirectory(std::u16string& path, const std::u16string& name)
{
    const auto last = name.rfind(u'\\');
    if (last == std::u16string::npos)
        return EngineStatus(win::ERROR_INVALID_DATA, SeverityError);
    if (path.empty() || path.back() != NativeSeparator)
        path += NativeSeparator;
    std::u16string folders = name.substr(0, last);
    for (char16_t& unit : folders) {
        if (unit == u'\\')
            unit = NativeSeparator;
    }
    path += folders;
    return EngineStatus();
}

EngineStatus PackageEngine::makeDirectories(const std::u16string& base, const std::u16string& relative,
    ScopedFile* deepest, std::u16string* failedAt, bool* linkRefused)
{
    if (base.empty() || relative.empty())
        return EngineStatus(win::ERROR_INVALID_PARAMETER, SeverityError);
    std::u16string reached = base;
    auto stop = [&](platform::FileHandle parent, const std::u16string& part) {
        // A folder that may not be written to, or a full or read-only disk, is told as what it
        // is; anything else in the way reads as a name that can't be a folder.
        const std::uint32_t reason = platform::lastError();
        const bool told = reason == win::ERROR_ACCESS_DENIED || reason == win::ERROR_DISK_FULL
            || reason == win::ERROR_WRITE_PROTECT;
        if (failedAt)
            *failedAt = reached;
        if (linkRefused)
            *linkRefused
                = parent != platform::InvalidHandle && platform::entryKindAt(parent, part) == platform::EntryKind::Link;
        return EngineStatus(told ? reason : win::ERROR_DIRECTORY, SeverityError);
    };
    // Each level is opened from the one above it without following links, so a link planted
    // inside the folder can't lead the walk outside.
    auto current = std::make_unique<ScopedFile>(platform::openDirectory(base));
    if (!current->isOpen())
        return stop(platform::InvalidHandle, {});
    std::size_t start = 0;
    while (start <= relative.size()) {
        auto end = relative.find(u'\\', start);
        if (end == std::u16string::npos)
            end = relative.size();
        const std::u16string part = relative.substr(start, end - start);
        start = end + 1;
        if (part.empty() || part == u".")
            continue;
        reached = joinPath(reached, part);
        if (part == u"..") {
            platform::setLastError(0);
            return stop(platform::InvalidHandle, {});
        }
        if (!platform::makeDirectoryAt(current->handle(), part) && platform::lastError() != win::ERROR_ALREADY_EXISTS)
            return stop(current->handle(), part);
        auto next = std::make_unique<ScopedFile>(platform::openDirectoryAt(current->handle(), part));
        if (!next->isOpen())
            return stop(current->handle(), part);
        current = std::move(next);
    }
    if (deepest) {
        deepest->close();
        deepest->adopt(current->release());
    }
    return EngineStatus();
}

EngineStatus PackageEngine::addFiles(ContainerFile& container)
{
    EngineStatus status;
    bool goOn = true;
    SourcePrefetch sources(files_, ContainerFile::GatheredFileLimit, packageIdentity_);
    SourcePrefetch::Source source;
    while (goOn && status.ok() && sources.next(source)) {
        const std::u16string& path = source.path;
        ScopedFile handle(source.handle);
        if (source.avoided) {
            // Replacing the package would destroy a file that goes into it.
            status = EngineStatus(win::ERROR_ACCESS_DENIED, SeverityError);
            failedOn(status, path);
            failure_.sourceIsPackage = true;
            continue;
        }
        if (source.openError != 0) {
            goOn = false;
            const EngineStatus reason(source.openError, SeverityError);
            if (callback_ && userParameter_) {
                userParameter_->status = reason;
                userParameter_->fileName = path.c_str();
                goOn = callback_(OpError, 0, 0, userParameter_) != 0;
                userParameter_->fileName = nullptr;
            }
            if (!goOn)
                failedOn(reason, path);
            continue;
        }
        ContainerEntry entry(entryNameFor(path, nameMode_, nameRoots_), handle.handle(), EntryTypeData);
        entry.setSourceSize(source.size);
        entry.setCallback(callback_);
        entry.setUserParameter(userParameter_);
        if (source.readError != 0)
            status = EngineStatus(source.readError, SeverityError);
        else if (handle.isOpen())
            status = container.addEntry(entry);
        else
            status = container.addEntry(entry, source.content.data());
        // A write that failed concerns what is being written; a read, or a source that shrank, the
        // source.
        if (!status.ok() && status.severity() != SeverityStopped) {
            // (The inner package of an encrypted one is written in the temporary folder.)
            const std::u16string written = recipients_.empty() ? packagePath_ : platform::tempDirectory();
            failedOn(status, status.code() == win::ERROR_DISK_FULL ? written : path);
            failure_.sourceShrank = status.code() == win::ERROR_HANDLE_EOF;
        }
    }
    if (!goOn && status.ok()) {
        status.setCode(0);
        status.setSeverity(SeverityStopped);
    }
    return status;
}

EngineStatus PackageEngine::create()
{
    if (files_.empty() || packagePath_.empty())
        return EngineStatus(win::ERROR_INVALID_DATA, SeverityError);
    failure_ = FailureSubject {};
    // A folder at the package's path would otherwise fail only the final rename, after every file
    // was copied, hashed and encrypted.
    platform::FileIdentity existing;
    bool directory = false;
    packageIdentity_.reset();
    if (platform::fileIdentity(packagePath_, existing, directory)) {
        if (directory)
            return failedOn(EngineStatus(win::ERROR_ACCESS_DENIED, SeverityError), packagePath_);
        packageIdentity_ = existing;
    }
    platform::sweepStaleTemporaries(platform::tempDirectory(), platform::TempPrefix);

    const bool encrypted = !recipients_.empty();
    // The package's place is taken first, so that a folder that is missing or can't be written
    // fails the run before any work is done.
    StagedPackage staged(packagePath_);
    EngineStatus status = staged.open();
    if (!status.ok())
        return failedOn(status, packagePath_);
    platform::PrivateTemp inner;
    ScopedFile target;
    if (encrypted)
        status = createTempFile(inner, target);
    else
        target.adopt(staged.duplicate());
    if (status.ok() && !target.isOpen())
        status = lastErrorStatus();
    if (!status.ok())
        return status;

    ContainerFile container;
    container.setCallback(callback_, userParameter_);
    status = container.openForWrite(target.release(), ContainerTypePlain);
    if (status.ok()) {
        // Every file is expected to make it in; a skipped one only costs the hashing a second pass.
        if (files_.size() <= UINT32_MAX)
            container.expectEntries(static_cast<std::uint32_t>(files_.size()));
        status = addFiles(container);
    }
    bool finished = false;
    if (status.ok() && container.entryCount() > 0) {
        status = container.close();
        finished = status.ok();
        // Writing the header and digest can fail too, on a full disk.
        if (!finished && status.code() != win::NTE_BAD_HASH)
            failedOn(status, encrypted ? platform::tempDirectory() : packagePath_);
    }
    if (container.handle() != platform::InvalidHandle)
        platform::closeFile(container.handle());
    if (finished) {
        if (encrypted) {
            ScopedFile out(staged.duplicate());
            status = out.isOpen() ? encryptPackage(inner, out.release()) : lastErrorStatus();
        }
        if (status.ok())
            status = staged.commit();
        failedOn(status, packagePath_);
    }
    return status;
}

// The outer package is written in one pass straight from the cipher stream: the cipher text's
// length is known before it exists, so its entry header can go first, and the outer digest is
// taken on the thread that writes while this one encrypts. There is no cipher-text temporary and
// no second pass over the package. The reports are those of encrypting to a temporary and then
// copying it into the package: the copy's come once the encryption has ended.
EngineStatus PackageEngine::encryptPackage(platform::PrivateTemp& inner, platform::FileHandle packageHandle)
{
    ScopedFile out(packageHandle);
    const EngineStatus cannotMake(win::ERROR_CANNOT_MAKE, SeverityError);
    std::int64_t innerSize = 0;
    if (!platform::fileSize(inner.handle(), innerSize)
        || !platform::seekFile(inner.handle(), 0, platform::SeekFrom::Begin))
        return lastErrorStatus();

    CryptoSession session;
    session.setCallback(callback_);
    session.setUserParameter(userParameter_);
    std::vector<CertificatePtr> certificates;
    try {
        certificates.reserve(recipients_.size());
        for (const ContactRecord* recipient : recipients_)
            certificates.push_back(recipient ? recipient->identity.certificate() : nullptr);
    } catch (const std::bad_alloc&) {
        return EngineStatus(win::ERROR_NOT_ENOUGH_MEMORY, SeverityError);
    }
    const SessionKeyPtr key = session.createSessionKey(true);
    const ByteBlobPtr envelope = key ? session.sealKey(key.get(), certificates) : nullptr;
    if (!envelope)
        return cannotMake;

    const std::int64_t cipherSize = CryptoSession::cipherLength(innerSize);
    // The entries are called what their temporaries used to be called.
    const std::u16string dataName = platform::temporaryName();
    ContainerFile container;
    container.setCallback(callback_, userParameter_);
    EngineStatus status = container.openForWrite(out.release(), ContainerTypeEncrypted);
    if (status.ok()) {
        container.expectEntries(2);
        status = container.addEntry(platform::temporaryName(), EntryTypeKey, envelope->data(), envelope->size());
    }
    if (status.ok())
        status = container.beginEntry(dataName, EntryTypeData, cipherSize);
    if (status.ok()) {
        std::int64_t start = 0;
        std::int64_t end = 0;
        const bool encrypted = platform::seekFile(container.handle(), 0, platform::SeekFrom::Current, &start)
            && session.encryptRange(inner.handle(), innerSize, container.handle(), key.get(),
                                    [&container](const std::uint8_t* data, std::size_t size) {
                                        container.digestWritten(data, size);
                                    });
        // A write of the package itself that failed (a full disk in its folder) is told as such,
        // naming the package; only a failure of the cipher is the encryption's.
        if (!encrypted)
            status = session.targetFailed() ? lastErrorStatus() : cannotMake;
        else if (!platform::seekFile(container.handle(), 0, platform::SeekFrom::Current, &end))
            status = lastErrorStatus();
        else if (end - start != cipherSize)
            status = cannotMake;
    }
    // The plain inner package has served its purpose.
    inner.discard();
    if (status.ok())
        status = container.endEntry(dataName, cipherSize);
    if (status.ok())
        status = container.close();
    if (container.handle() != platform::InvalidHandle)
        platform::closeFile(container.handle());
    return status;
}

EngineStatus PackageEngine::check()
{
    checkOnly_ = true;
    const EngineStatus status = extract();
    checkOnly_ = false;
    return status;
}

EngineStatus PackageEngine::extract()
{
    checked_.clear();
    checkedDecrypted_ = false;
    if (packagePath_.empty() || (extractFolder_.empty() && !checkOnly_))
        return EngineStatus(win::ERROR_INVALID_PARAMETER, SeverityError);
    failure_ = FailureSubject {};
    platform::sweepStaleTemporaries(platform::tempDirectory(), platform::TempPrefix);
    // A deliberate change from opening the package for reading and writing: extraction only
    // reads it, so it asks for no more, and a package that is read-only, owned by somebody else or
    // on read-only media (a saved attachment, a disc) opens all the same.
    ScopedFile package;
    if (!package.open(packagePath_, win::OPEN_EXISTING, win::GENERIC_READ, ShareAll))
        return failedOn(EngineStatus(win::ERROR_FILE_INVALID, SeverityError), packagePath_);

    std::unique_ptr<DecryptionAhead> ahead;
    if (isEncryptedPackage(package.handle())) {
        const platform::FileHandle second = platform::reopenForReading(package.handle());
        if (second == platform::InvalidHandle)
            return failedOn(lastErrorStatus(), packagePath_);
        ahead = std::make_unique<DecryptionAhead>(second, checkOnly_ ? std::u16string() : extractFolder_, checkOnly_);
    }

    ContainerFile container;
    container.setCallback(callback_, userParameter_);
    EngineStatus status = container.openForRead(package.release());
    if (!status.ok())
        return failedOn(status, packagePath_, true);

    if ((container.containerType() & ContainerTypeEncrypted) && ahead) {
        status = ahead->finish(callback_, userParameter_);
        if (ahead->indexFailed)
            failedOn(status, packagePath_, true);
        else if (!ahead->failedIn.empty())
            failedOn(status, ahead->failedIn);
    }
    if (status.ok() && ahead && ahead->splitter)
        entryFiles_ = &ahead->splitter->entries();
    if (status.ok() && ahead && ahead->plain.isOpen()) {
        status = container.close();
        if (status.ok()) {
            ScopedFile plainFile;
            if (!plainFile.open(ahead->plain.path(), win::OPEN_EXISTING, ReadWrite, ShareAll)) {
                status = lastErrorStatus();
            } else {
                container.setCallback(callback_, userParameter_);
                if (ahead->digest)
                    container.expectDigest(*ahead->digest);
                status = container.openForRead(plainFile.release());
                failedOn(status, packagePath_, true);
            }
        }
    }
    if (status.ok() && checkOnly_) {
        // The index is all a check still needs: the digests have matched, and reading the index
        // finds every entry inside the package, as extraction would.
        status = container.readIndex(checked_);
        if (!status.ok() || checked_.size() == 0)
            status = failedOn(EngineStatus(win::ERROR_FILE_NOT_FOUND, SeverityError), packagePath_, true);
        checkedDecrypted_ = status.ok() && ahead && ahead->plain.isOpen();
    } else if (status.ok()) {
        status = extractEntries(container, extractFolder_);
        if (status.ok())
            container.close();
    }
    if (container.handle() != platform::InvalidHandle)
        platform::closeFile(container.handle());
    entryFiles_ = nullptr;
    return status;
}

EngineStatus PackageEngine::extractEntries(ContainerFile& container, const std::u16string& folder)
{
    ContainerIndex index;
    EngineStatus status = container.readIndex(index);
    if (!status.ok() || index.size() == 0)
        return failedOn(EngineStatus(win::ERROR_FILE_NOT_FOUND, SeverityError), packagePath_, true);
    const std::size_t folderBytes = platform::toUtf8(folder).size();
    platform::sweepStaleTemporaries(folder, platform::HiddenTempPrefix);
    newFileMode_ = newFileMode();
    status = checkEntryNames(index, folderBytes);
    if (!status.ok())
        return status;

    // Entries of one folder stand together, so the folder walked for the last entry usually
    // serves the next one as well; that saves a walk from the top for every small file.
    ScopedFile directory;
    std::u16string directoryFolders;
    std::u16string directoryPath;
    for (std::size_t i = 0; i < index.size() && status.ok(); ++i) {
        ContainerEntry entry = index.entry(i);
        entry.setCallback(callback_);
        entry.setUserParameter(userParameter_);
        // Every name passed the check above.
        std::vector<std::u16string> parts;
        splitEntryName(entry.name(), parts);
        std::u16string folders;
        for (std::size_t p = 0; p + 1 < parts.size(); ++p)
            folders += parts[p] + u'\\';
        if (!directory.isOpen() || folders != directoryFolders) {
            directory.close();
            directoryPath = folder;
            if (folders.empty()) {
                directory.adopt(platform::openDirectory(folder));
                if (!directory.isOpen())
                    return failedOn(lastErrorStatus(), folder);
            } else {
                std::u16string failedAt;
                bool link = false;
                status = makeDirectories(folder, folders, &directory, &failedAt, &link);
                if (!status.ok()) {
                    failedOn(status, failedAt);
                    failure_.entry = entry.name();
                    failure_.linkRefused = link;
                    return status;
                }
                for (std::size_t p = 0; p + 1 < parts.size(); ++p)
                    directoryPath = joinPath(directoryPath, parts[p]);
            }
            directoryFolders = folders;
        }
        status = extractEntry(entry, directory.handle(), directoryPath, parts.back());
        // A failure that concerns the entry's file names the entry too, as the sender called it.
        if (!status.ok() && !failure_.packageInvalid && failure_.entry.empty())
            failure_.entry = entry.name();
    }
    return status;
}

// Every name of the package is checked before the first entry is put at its name, so that a
// package with any name that can't be extracted writes nothing at all. This departs on purpose
// from the rule that a run stops at the failing entry and keeps the files before it: those files
// would be whatever a sender chose to leave in the folder, and two entries of one name would
// have the later one silently win. Entries that were decrypted ahead into unnamed files simply
// vanish with them.
EngineStatus PackageEngine::checkEntryNames(const ContainerIndex& index, std::size_t folderBytes)
{
    auto refuse = [this](std::uint32_t code, const std::u16string& name, const std::u16string& reason) {
        const EngineStatus status(code, SeverityError);
        failedOn(status, packagePath_);
        failure_.entry = name;
        failure_.reason = reason;
        failure_.nameRefused = true;
        return status;
    };
    // Each name as the bytes of the path it becomes, with NUL (which no part holds) between the
    // parts, so that in sorted order a name comes straight before the names below it.
    std::vector<std::pair<std::string, std::size_t>> paths;
    paths.reserve(index.size());
    std::vector<std::u16string> parts;
    std::u16string why;
    for (std::size_t i = 0; i < index.size(); ++i) {
        const std::u16string name = index.entry(i).name();
        if (!splitEntryName(name, parts, &why).ok())
            return refuse(win::ERROR_INVALID_NAME, name, why);
        std::string path;
        std::size_t pathBytes = folderBytes;
        for (const std::u16string& part : parts) {
            const std::string bytes = platform::toUtf8(part);
            if (bytes.size() > MaxNameBytes)
                return refuse(win::ERROR_FILENAME_EXCED_RANGE, name, u"a part of the name is longer than 255 bytes");
            pathBytes += 1 + bytes.size();
            if (!path.empty())
                path += '\0';
            path += bytes;
        }
        if (pathBytes >= MaxPathBytes)
            return refuse(win::ERROR_FILENAME_EXCED_RANGE, name, u"the name is too long for a path in this folder");
        paths.emplace_back(std::move(path), i);
    }

    // Of all clashes, the one of the earliest entry is told.
    std::sort(paths.begin(), paths.end());
    std::size_t refused = index.size();
    std::size_t other = 0;
    bool same = false;
    for (std::size_t k = 0; k + 1 < paths.size(); ++k) {
        const auto& [path, at] = paths[k];
        const auto& [next, nextAt] = paths[k + 1];
        if (next == path && nextAt < refused) {
            refused = nextAt;
            other = at;
            same = true;
        } else if (next.size() > path.size() && next[path.size()] == '\0' && next.compare(0, path.size(), path) == 0
                   && at < refused) {
            refused = at;
            other = nextAt;
            same = false;
        }
    }
    if (refused == index.size())
        return EngineStatus();
    const std::u16string name = index.entry(refused).name();
    const std::u16string otherName = shownEntryName(index.entry(other).name());
    if (!same)
        return refuse(win::ERROR_INVALID_NAME, name,
                      u"a file of the same name is a folder of another entry (\"" + otherName + u"\")");
    return refuse(win::ERROR_INVALID_NAME, name,
                  otherName == shownEntryName(name)
                      ? std::u16string(u"an earlier entry has the same name")
                      : u"an earlier entry has the same name (\"" + otherName + u"\")");
}

// Each entry is written to a private temporary in its target folder and put at its name only
// when it is complete, replacing an earlier file in one step. This departs on purpose from the
// rule that a stopped copy leaves the target cut to the blocks reported so far: a stopped or
// failed entry leaves the earlier file of that name as it was and no partial file at all. The
// reports themselves are the same. Writing into the earlier file in place would destroy it on a
// full disk or a stop, write through a hard link to a file outside the folder, and could
// overwrite the very package being read.
EngineStatus PackageEngine::extractEntry(ContainerEntry& entry, platform::FileHandle directory,
    const std::u16string& directoryPath, const std::u16string& name)
{
    const std::u16string path = joinPath(directoryPath, name);

    // An entry decrypted straight into a file of its own only needs its reports and its name.
    EntrySplitter::Entry* ready = nullptr;
    if (entryFiles_ && !entryFiles_->empty()) {
        // The inner package holds a hole where such an entry's data was; an entry that met one
        // anywhere but exactly would read zeros, so the package is refused instead. (Both
        // readers follow the same rules, so a package that gets here never does.)
        const std::int64_t start = entry.dataOffset();
        const std::int64_t end = start + entry.size();
        auto next = entryFiles_->lower_bound(start);
        const bool exact = next != entryFiles_->end() && next->first == start && next->second.size == entry.size();
        const bool overlapsNext = next != entryFiles_->end() && next->first < end && !exact;
        const bool overlapsPrevious = next != entryFiles_->begin()
            && std::prev(next)->first + std::prev(next)->second.size > start;
        if (overlapsNext || overlapsPrevious)
            return failedOn(EngineStatus(win::ERROR_BAD_FORMAT, SeverityError), packagePath_, true);
        if (exact)
            ready = &next->second;
    }
    if (ready) {
        const EngineStatus reported = entry.reportCopy();
        if (!reported.ok())
            return reported;
        // Where the name is free, the file (made with the mode of a new file) only needs it; the
        // look at what has the name, and the change of mode, are for the rarer case below.
        if (ready->file->publishIfFree(directory, name))
            return EngineStatus();
    }

    mode_t existingMode = 0;
    const platform::EntryKind existing = platform::entryKindAt(directory, name, &existingMode);
    if (existing == platform::EntryKind::Missing && platform::lastError() != win::ERROR_FILE_NOT_FOUND)
        return failedOn(lastErrorStatus(), path);
    if (existing == platform::EntryKind::Link) {
        failedOn(EngineStatus(win::ERROR_ACCESS_DENIED, SeverityError), path);
        failure_.linkRefused = true;
        return EngineStatus(win::ERROR_ACCESS_DENIED, SeverityError);
    }
    // A folder, a FIFO or a device of that name is never replaced.
    if (existing == platform::EntryKind::Directory || existing == platform::EntryKind::Other) {
        failedOn(EngineStatus(win::ERROR_ACCESS_DENIED, SeverityError), path);
        failure_.reason = existing == platform::EntryKind::Directory ? u"a folder of that name is there already"
                                                                     : u"something that is not a file has that name";
        return EngineStatus(win::ERROR_ACCESS_DENIED, SeverityError);
    }

    if (ready) {
        if (platform::setFileMode(ready->file->handle(), modeFor(existing, existingMode, newFileMode_))
            && ready->file->publish(directory, name))
            return EngineStatus();
        // Linking fails across file systems (a folder below that is a mount point): the entry
        // is copied from its file like one from the inner package.
        entry = ContainerEntry(entry.name(), ready->file->handle(), 0, entry.size(), entry.type());
        entry.setCallback(nullptr);
    }

    platform::PrivateTemp temp;
    if (!temp.create(directory, directoryPath, platform::HiddenTempPrefix))
        return failedOn(lastErrorStatus(), directoryPath);
    if (entry.size() > 0) {
        const EngineStatus copied = entry.extractTo(temp.handle());
        // A package that ends inside the entry is not a valid package; other failures concern the
        // file being written.
        if (!copied.ok())
            return copied.code() == win::ERROR_CANCELLED ? copied
                : copied.code() == 0                     ? failedOn(copied, packagePath_, true)
                                                         : failedOn(copied, path);
    }
    if (!platform::setFileMode(temp.handle(), modeFor(existing, existingMode, newFileMode_))
        || !temp.publish(directory, name))
        return failedOn(lastErrorStatus(), path);
    return EngineStatus();
}
