#include "package/PackageEngine.h"

#include <memory>
#include <new>

#include "crypto/CertificateStore.h"
#include "crypto/CryptoSession.h"
#include "platform/AtomicFile.h"
#include "platform/LastError.h"
#include "platform/TempFile.h"

namespace {
constexpr std::uint32_t ReadWrite = win::GENERIC_READ | win::GENERIC_WRITE;
constexpr std::uint32_t ShareAll = win::FILE_SHARE_READ | win::FILE_SHARE_WRITE;
// Longest temporary folder path that still leaves room for a file name, as the format's
// original 261-character limit did.
constexpr std::size_t MaxTempDirectory = 261;

EngineStatus lastErrorStatus() { return EngineStatus(platform::lastError(), SeverityError); }

void deleteIfSet(const std::u16string& path)
{
    if (!path.empty())
        platform::deleteFile(path);
}

bool isDrive(const std::u16string& part)
{
    return part.size() >= 2 && part[1] == u':'
        && ((part[0] >= u'A' && part[0] <= u'Z') || (part[0] >= u'a' && part[0] <= u'z'));
}

// The package is written beside its final path and renamed over it only when it is complete, so
// that a failed or stopped run never leaves half a package, nor destroys an earlier one.
class StagedPackage {
public:
    explicit StagedPackage(const std::u16string& target) : target_(target) {}
    ~StagedPackage() { discard(); }

    EngineStatus open(ScopedFile& file)
    {
        if (!platform::createSiblingTempFile(target_, path_, platform::UserFileMode))
            return lastErrorStatus();
        if (!file.open(path_, win::CREATE_ALWAYS, ReadWrite, ShareAll, platform::UserFileMode))
            return lastErrorStatus();
        return EngineStatus();
    }
    EngineStatus commit()
    {
        if (!platform::replaceFile(path_, target_))
            return lastErrorStatus();
        path_.clear();
        return EngineStatus();
    }
    void discard()
    {
        deleteIfSet(path_);
        path_.clear();
    }

private:
    std::u16string target_;
    std::u16string path_;
};
}  // namespace

PackageEngine::PackageEngine(const ContactRecord& ownContact) { openCertificateStore(ownContact.name); }

EngineStatus PackageEngine::createTempFile(std::u16string& path, ScopedFile& file)
{
    const std::u16string folder = platform::tempDirectory();
    if (folder.empty() || folder.size() > MaxTempDirectory)
        return EngineStatus(win::ERROR_INVALID_DATA, SeverityError);
    if (!platform::createTempFile(path))
        return lastErrorStatus();
    if (!file.open(path, win::CREATE_ALWAYS, ReadWrite, ShareAll, platform::PrivateFileMode)) {
        const EngineStatus status = lastErrorStatus();
        platform::deleteFile(path);
        return status;
    }
    return EngineStatus();
}

std::u16string PackageEngine::entryNameFor(const std::u16string& path, std::uint32_t mode)
{
    std::u16string name = path;
    if (mode & NameModeFullPath) {
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

EngineStatus PackageEngine::splitEntryName(const std::u16string& name, std::vector<std::u16string>& parts)
{
    parts.clear();
    const EngineStatus invalid(win::ERROR_INVALID_NAME, SeverityError);
    std::u16string part;
    auto take = [&]() -> bool {
        if (part.empty() || part == u".") {
            part.clear();
            return true;
        }
        if (part == u".." || part.find(u'\0') != std::u16string::npos || (parts.empty() && isDrive(part)))
            return false;
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
                                            ScopedFile* deepest)
{
    if (base.empty() || relative.empty())
        return EngineStatus(win::ERROR_INVALID_PARAMETER, SeverityError);
    const EngineStatus failed(win::ERROR_DIRECTORY, SeverityError);
    // Each level is opened from the one above it without following links, so a link planted
    // inside the folder can't lead the walk outside.
    auto current = std::make_unique<ScopedFile>(platform::openDirectory(base));
    if (!current->isOpen())
        return failed;
    std::size_t start = 0;
    while (start <= relative.size()) {
        auto end = relative.find(u'\\', start);
        if (end == std::u16string::npos)
            end = relative.size();
        const std::u16string part = relative.substr(start, end - start);
        start = end + 1;
        if (part.empty() || part == u".")
            continue;
        if (part == u"..")
            return failed;
        if (!platform::makeDirectoryAt(current->handle(), part) && platform::lastError() != win::ERROR_ALREADY_EXISTS)
            return failed;
        auto next = std::make_unique<ScopedFile>(platform::openDirectoryAt(current->handle(), part));
        if (!next->isOpen())
            return failed;
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
    for (const std::u16string& path : files_) {
        if (!goOn || !status.ok())
            break;
        ScopedFile source;
        if (!source.open(path, win::OPEN_EXISTING, win::GENERIC_READ, ShareAll)) {
            goOn = false;
            if (callback_ && userParameter_) {
                userParameter_->status = lastErrorStatus();
                const std::u16string pathCopy = path;
                userParameter_->fileName = pathCopy.c_str();
                goOn = callback_(OpError, 0, 0, userParameter_) != 0;
                userParameter_->fileName = nullptr;
            }
            continue;
        }
        ContainerEntry entry(entryNameFor(path, nameMode_), source.handle(), EntryTypeData);
        entry.setCallback(callback_);
        entry.setUserParameter(userParameter_);
        status = container.addEntry(entry);
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

    const bool encrypted = !recipients_.empty();
    std::u16string innerPath;
    ScopedFile target;
    StagedPackage staged(packagePath_);
    EngineStatus status = encrypted ? createTempFile(innerPath, target) : staged.open(target);
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
    }
    if (finished)
        status = encrypted ? encryptPackage(innerPath) : staged.commit();

    if (container.handle() != platform::InvalidHandle)
        platform::closeFile(container.handle());
    deleteIfSet(innerPath);
    return status;
}

EngineStatus PackageEngine::encryptPackage(const std::u16string& innerPath)
{
    std::u16string dataPath;
    std::u16string keyPath;
    {
        ScopedFile dataFile;
        ScopedFile keyFile;
        EngineStatus status = createTempFile(dataPath, dataFile);
        if (!status.ok())
            return status;
        status = createTempFile(keyPath, keyFile);
        if (!status.ok()) {
            dataFile.closeAndDelete();
            return status;
        }
    }
    auto removeTemporaries = [&] {
        deleteIfSet(keyPath);
        deleteIfSet(dataPath);
    };

    CryptoSession session;
    session.setCallback(callback_);
    session.setUserParameter(userParameter_);
    std::vector<CertificatePtr> certificates;
    try {
        certificates.reserve(recipients_.size());
        for (const ContactRecord* recipient : recipients_)
            certificates.push_back(recipient ? recipient->identity.certificate() : nullptr);
    } catch (const std::bad_alloc&) {
        removeTemporaries();
        return EngineStatus(win::ERROR_NOT_ENOUGH_MEMORY, SeverityError);
    }
    if (!session.encryptFile(innerPath, dataPath, keyPath, certificates)) {
        removeTemporaries();
        return EngineStatus(win::ERROR_CANNOT_MAKE, SeverityError);
    }
    // The plain inner package has served its purpose. Removing it before the outer package is
    // written keeps the disk and memory at the peak to two copies of the data instead of three.
    platform::deleteFile(innerPath);

    // Only now, with the cipher text complete, does anything appear at the package's path.
    StagedPackage staged(packagePath_);
    ScopedFile out;
    EngineStatus status = staged.open(out);
    if (!status.ok()) {
        removeTemporaries();
        return status;
    }
    ContainerFile container;
    container.setCallback(callback_, userParameter_);
    status = container.openForWrite(out.release(), ContainerTypeEncrypted);
    if (status.ok()) {
        container.expectEntries(2);
        ScopedFile keyFile;
        keyFile.open(keyPath, win::OPEN_EXISTING, ReadWrite, ShareAll);
        // The envelope is small: no progress and no stop for it.
        ContainerEntry keyEntry(entryNameFor(keyPath, NameModeBareName), keyFile.handle(), EntryTypeKey);
        status = container.addEntry(keyEntry);
    }
    if (status.ok()) {
        ScopedFile dataFile;
        dataFile.open(dataPath, win::OPEN_EXISTING, ReadWrite, ShareAll);
        ContainerEntry dataEntry(entryNameFor(dataPath, NameModeBareName), dataFile.handle(), EntryTypeData);
        dataEntry.setCallback(callback_);
        dataEntry.setUserParameter(userParameter_);
        status = container.addEntry(dataEntry);
    }
    if (status.ok())
        status = container.close();
    if (status.ok())
        status = staged.commit();
    if (container.handle() != platform::InvalidHandle)
        platform::closeFile(container.handle());
    removeTemporaries();
    return status;
}

EngineStatus PackageEngine::extract()
{
    if (packagePath_.empty() || extractFolder_.empty())
        return EngineStatus(win::ERROR_INVALID_PARAMETER, SeverityError);
    ScopedFile package;
    if (!package.open(packagePath_, win::OPEN_EXISTING, ReadWrite, ShareAll))
        return EngineStatus(win::ERROR_FILE_INVALID, SeverityError);

    ContainerFile container;
    container.setCallback(callback_, userParameter_);
    EngineStatus status = container.openForRead(package.release());
    if (!status.ok())
        return status;

    std::u16string plainPath;
    std::optional<Md5Digest> plainDigest;
    if (container.containerType() & ContainerTypeEncrypted)
        status = decryptToTemp(container, plainPath, plainDigest);
    if (status.ok() && !plainPath.empty()) {
        status = container.close();
        if (status.ok()) {
            ScopedFile plain;
            if (!plain.open(plainPath, win::OPEN_EXISTING, ReadWrite, ShareAll)) {
                status = lastErrorStatus();
            } else {
                container.setCallback(callback_, userParameter_);
                if (plainDigest)
                    container.expectDigest(*plainDigest);
                status = container.openForRead(plain.release());
            }
        }
    }
    if (status.ok()) {
        status = extractEntries(container, extractFolder_);
        if (status.ok())
            container.close();
    }
    if (container.handle() != platform::InvalidHandle)
        platform::closeFile(container.handle());
    deleteIfSet(plainPath);
    return status;
}

EngineStatus PackageEngine::decryptToTemp(ContainerFile& container, std::u16string& plainPath,
                                          std::optional<Md5Digest>& plainDigest)
{
    ContainerEntryList entries;
    EngineStatus status = container.readEntries(entries);
    setEntriesCallback(entries, callback_, userParameter_);

    std::u16string keyPath;
    std::u16string dataPath;
    for (ContainerEntry& entry : entries) {
        if (!status.ok())
            break;
        std::u16string path;
        ScopedFile file;
        status = createTempFile(path, file);
        if (!status.ok())
            break;
        status = entry.extractTo(file.handle());
        if (!status.ok()) {
            file.closeAndDelete();
            break;
        }
        file.close();
        // A later entry of the same kind wins; the copy it replaces must not stay behind.
        std::u16string& slot = (entry.type() & EntryTypeKey) ? keyPath : dataPath;
        deleteIfSet(slot);
        slot = path;
    }

    if (status.ok() && !keyPath.empty() && !dataPath.empty()) {
        ScopedFile plain;
        status = createTempFile(plainPath, plain);
        plain.close();
        if (status.ok()) {
            CryptoSession session;
            session.setCallback(callback_);
            session.setUserParameter(userParameter_);
            // The inner package is verified next; its digest is taken as it is decrypted.
            session.hashOutputFrom(HashedRangeStart);
            if (!session.decryptFile(dataPath, plainPath, keyPath))
                status = EngineStatus(win::ERROR_CANNOT_MAKE, SeverityError);
            else
                plainDigest = session.outputDigest();
        }
    }
    deleteIfSet(keyPath);
    deleteIfSet(dataPath);
    return status;
}

EngineStatus PackageEngine::extractEntries(ContainerFile& container, const std::u16string& folder)
{
    ContainerEntryList entries;
    EngineStatus status = container.readEntries(entries);
    if (!status.ok() || entries.empty())
        return EngineStatus(win::ERROR_FILE_NOT_FOUND, SeverityError);
    setEntriesCallback(entries, callback_, userParameter_);

    // Entries of one folder stand together, so the folder walked for the last entry usually
    // serves the next one as well; that saves a walk from the top for every small file.
    ScopedFile directory;
    std::u16string directoryFolders;
    for (ContainerEntry& entry : entries) {
        if (!status.ok())
            break;
        std::vector<std::u16string> parts;
        status = splitEntryName(entry.name(), parts);
        if (!status.ok())
            break;
        std::u16string folders;
        for (std::size_t i = 0; i + 1 < parts.size(); ++i)
            folders += parts[i] + u'\\';
        if (!directory.isOpen() || folders != directoryFolders) {
            directory.close();
            if (folders.empty()) {
                directory.adopt(platform::openDirectory(folder));
                if (!directory.isOpen())
                    status = lastErrorStatus();
            } else {
                status = makeDirectories(folder, folders, &directory);
            }
            directoryFolders = folders;
        }
        if (!status.ok())
            break;
        // An existing file of that name is replaced; a link in its place is refused.
        ScopedFile target(platform::openFileAt(directory.handle(), parts.back(), win::CREATE_ALWAYS, ReadWrite));
        if (!target.isOpen()) {
            status = lastErrorStatus();
            break;
        }
        if (entry.size() > 0)
            status = entry.extractTo(target.handle());
    }
    return status;
}
