#include "cli/CliCommands.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "cli/Printable.h"
#include "cli/ProgressPrinter.h"
#include "contacts/ConfigStore.h"
#include "contacts/OwnIdentity.h"
#include "contacts/RecipientsStore.h"
#include "files/FolderWalk.h"
#include "crypto/CertificateStore.h"
#include "crypto/IdentityCertificate.h"
#include "engine/AppConstants.h"
#include "package/PackageEngine.h"
#include "platform/ErrorText.h"
#include "platform/LastError.h"
#include "platform/NativeFile.h"
#include "platform/Profile.h"
#include "platform/ProfileLock.h"
#include "platform/Utf.h"

namespace fs = std::filesystem;

namespace {

const char ToolHelp[] = "Usage: halvoren-cli [--profile DIR] COMMAND ...\n"
                        "\n"
                        "Encrypts files into .kvx packages that only the chosen contacts can open, and keeps your\n"
                        "identity and contacts. Uses the same profile as the Halvoren program unless --profile names\n"
                        "another folder.\n"
                        "\n"
                        "Commands:\n"
                        "  identity create NAME [details]   make your own identity (first start)\n"
                        "  identity show                    your name and certificate fingerprint\n"
                        "  identity export -o FILE.kvxk     save your key file, to give to others\n"
                        "  contacts list                    one contact a line: name, e-mail, (me)\n"
                        "  contacts import FILE.kvxk [details]\n"
                        "  contacts export NAME -o FILE.kvxk\n"
                        "  contacts remove NAME\n"
                        "  contacts repair                  file certificates that lost their contact entry again\n"
                        "  encrypt -o OUT.kvx [-r NAME]... [--self] [--plain] [--flat] [--skip-unreadable] PATH...\n"
                        "  decrypt PACKAGE.kvx -C DIR\n"
                        "  list PACKAGE.kvx                 one file of the package a line: name, size\n"
                        "  verify PACKAGE.kvx               check the package whole, extracting nothing\n"
                        "\n"
                        "Options:\n"
                        "  --profile DIR                    use the profile in DIR instead of the program's own\n"
                        "  -o, --output FILE                the package or key file to write\n"
                        "  -C, --directory DIR              the folder to extract into\n"
                        "  -r, --recipient NAME             a contact who may open the package (repeatable)\n"
                        "  -h, --help                       this text\n"
                        "  --version                        the program's version\n"
                        "\n"
                        "Details: --first-name T --last-name T --organization T --email T --comments T\n"
                        "Run 'halvoren-cli COMMAND --help' for more.\n";

const std::map<std::string, std::string> CommandHelp {
    { "identity",
        "Usage: halvoren-cli identity create NAME [--first-name T] [--last-name T] [--organization T]\n"
        "                                 [--email T] [--comments T]\n"
        "       halvoren-cli identity show\n"
        "       halvoren-cli identity export -o FILE.kvxk\n"
        "\n"
        "'create' makes your self-signed identity and its key, and files it as your own contact.\n"
        "A profile has one identity. 'show' prints your name, e-mail and certificate fingerprint.\n"
        "'export' writes your key file (your certificate, no private key) for others to import.\n" },
    { "contacts",
        "Usage: halvoren-cli contacts list\n"
        "       halvoren-cli contacts import FILE.kvxk [--first-name T] [--last-name T]\n"
        "                                  [--organization T] [--email T] [--comments T]\n"
        "       halvoren-cli contacts export NAME -o FILE.kvxk\n"
        "       halvoren-cli contacts remove NAME\n"
        "       halvoren-cli contacts repair\n"
        "\n"
        "'list' prints one contact a line: name, e-mail and \"(me)\" for your own, separated by tabs.\n"
        "'import' adds the certificate of a key file (DER or PEM) as a contact; importing the key file\n"
        "of a contact whose certificate file is damaged repairs it. NAME is a contact's exact name.\n"
        "'repair' files every certificate of the store that has no entry in the contact list as a\n"
        "contact without details; a contact list that isn't readable XML is kept beside as\n"
        "RecipientsList.xml.unreadable.\n" },
    { "encrypt",
        "Usage: halvoren-cli encrypt -o OUT.kvx [-r NAME]... [--self] [--plain] [--flat]\n"
        "                            [--skip-unreadable] PATH...\n"
        "\n"
        "Makes one package of the files and folders given; folders are walked recursively (links to\n"
        "files are taken as those files; linked folders, sockets, FIFOs and devices are left out and\n"
        "counted at the end). Only the contacts named with -r (exact names) and, with --self, you\n"
        "yourself can open it. --plain makes an unencrypted package\n"
        "instead. Each file is stored under the path it was given by, as tar does: 'docs' gives\n"
        "entries 'docs\\...', an absolute path is stored without its leading '/', and the folders are\n"
        "recreated on extraction; --flat stores bare file names. A path that climbs out of the\n"
        "current folder ('../x'), a name with a backslash, and two files that would be stored under\n"
        "one name are refused before anything is written. A file or folder that can't be read stops\n"
        "the run with no package; --skip-unreadable leaves it out with a warning instead. Ctrl-C\n"
        "stops the run and leaves nothing behind.\n" },
    { "decrypt",
        "Usage: halvoren-cli decrypt PACKAGE.kvx -C DIR\n"
        "\n"
        "Checks the package, opens it with your identity's key if it is encrypted, and writes its\n"
        "files below DIR (created if missing). Existing files of the same names are replaced.\n"
        "Nothing is ever written outside DIR.\n" },
    { "list",
        "Usage: halvoren-cli list PACKAGE.kvx\n"
        "\n"
        "Prints the files of a package, one a line: the name as stored (folders separated by '/')\n"
        "and the size in bytes, separated by a tab. The package is checked whole first, as 'verify'\n"
        "checks it, so nothing is listed from a damaged package; an encrypted one is opened with\n"
        "your identity's key. Nothing is extracted, and no content of the package is written\n"
        "anywhere.\n" },
    { "verify",
        "Usage: halvoren-cli verify PACKAGE.kvx\n"
        "\n"
        "Checks a package without extracting it: its digest, and for an encrypted package the\n"
        "decryption with your identity's key, the digest of the package inside and its index.\n"
        "Prints one line saying the package is intact, or says on standard error what is wrong and\n"
        "exits 1. Nothing is extracted, and no content of the package is written anywhere: it is\n"
        "decrypted only to be hashed.\n" },
};

std::u16string u16(const std::string& text) { return platform::fromUtf8(text); }
std::string u8(const std::u16string& text) { return platform::toUtf8(text); }

int usage(const std::string& message)
{
    std::fprintf(stderr, "halvoren-cli: %s\nRun 'halvoren-cli --help' for usage.\n", printable(message).c_str());
    return ExitUsage;
}

int fail(const std::string& message)
{
    std::fprintf(stderr, "halvoren-cli: %s\n", printable(message).c_str());
    return ExitFailed;
}

std::string codeText(std::uint32_t code) { return u8(platform::userText(code)); }

// The words of a failed status; a failure without a code gets the caller's words.
std::string statusText(const EngineStatus& status, const std::string& fallback)
{
    return status.code() != 0 ? codeText(status.code()) : fallback;
}

bool ensureFile(const std::u16string& path)
{
    struct stat info {};
    if (::stat(u8(path).c_str(), &info) == 0)
        return true;
    const platform::FileHandle fd = platform::openFile(path, win::CREATE_ALWAYS, win::GENERIC_WRITE, platform::PrivateFileMode);
    return fd != platform::InvalidHandle && platform::closeFile(fd);
}

// The profile as the program keeps it: settings, contacts joined with their certificates, and
// the owner's name.
struct Profile {
    ConfigStore config;
    RecipientsStore recipients;
    std::vector<ContactRecord> contacts;
    std::u16string ownerName;

    // Loads everything; the text says what is wrong and how to get out of it. `mismatch` is set
    // when the contact list and the certificate store disagree, which 'contacts repair' mends.
    std::string open(bool& mismatch)
    {
        mismatch = false;
        if (!ensureFile(configPath()) || !ensureFile(recipientsPath()))
            return "the profile folder " + u8(dataDirectory()) + " can't be written: " + codeText(platform::lastError());
        const OwnerCheck owner = recogniseOwner(config, configPath());
        const std::string settings = u8(configPath());
        if (owner.settingsUnreadable) {
            std::fprintf(stderr,
                "halvoren-cli: warning: the settings file %s can't be read; it is left as it is and the "
                "defaults are used\n",
                printable(settings).c_str());
        }
        ownerName = owner.ownerName;
        if (owner.restored) {
            std::fprintf(stderr, "halvoren-cli: the settings file %s didn't name your identity; '%s' was recognised by its key%s\n",
                printable(settings).c_str(), printable(u8(ownerName)).c_str(), owner.written ? " and written back" : "");
        }
        if (!openCertificateStore(ownerName))
            return "the certificate store in " + u8(dataDirectory())
                + "certificates can't be read: " + codeText(platform::lastError());
        warnAboutDamagedCertificates();
        const EngineStatus loaded = recipients.load(contacts, recipientsPath());
        if (loaded.ok())
            return {};
        const std::string file = u8(recipientsPath());
        if (!recipients.parsed()) {
            mismatch = true;
            return "the contact list " + file
                + " is not readable XML, so the certificates of the store have no "
                  "contact. Run 'halvoren-cli contacts repair' to keep that file aside and file every certificate "
                  "as a contact again";
        }
        if (!recipients.unmatchedCertificates().empty()) {
            mismatch = true;
            std::string names;
            for (const std::u16string& name : recipients.unmatchedCertificates())
                names += (names.empty() ? "'" : ", '") + u8(name) + "'";
            return "the contact list doesn't match the certificate store: the certificate of " + names
                + " has no entry in " + file + ". Run 'halvoren-cli contacts repair' to file it as a contact again";
        }
        return "the contact list can't be read: " + statusText(loaded, "it doesn't match the certificate store");
    }

    // A certificate file that can't be read stays on disk; the user learns whose it is.
    void warnAboutDamagedCertificates() const
    {
        for (const DamagedCertificate& damaged : damagedCertificates()) {
            const std::string name = damaged.name.empty() ? "an unknown contact" : "'" + u8(damaged.name) + "'";
            const bool own = !damaged.name.empty() && damaged.name == ownerName;
            std::fprintf(stderr,
                "halvoren-cli: warning: the certificate of %s%s can't be read (%s: %s); it is left as it is "
                "and the contact is missing until %s key file is imported again\n",
                own ? "your own identity " : "", printable(name).c_str(), printable(u8(damaged.path)).c_str(),
                codeText(damaged.code).c_str(),
                own ? "your" : "its");
        }
    }

    const ContactRecord* find(const std::u16string& name) const
    {
        for (const ContactRecord& contact : contacts)
            if (contact.name == name)
                return &contact;
        return nullptr;
    }
    const ContactRecord* own() const { return ownerName.empty() ? nullptr : find(ownerName); }
};

void applyDetails(const ContactDetailOptions& details, ContactRecord& record)
{
    if (details.firstName)
        record.firstName = u16(*details.firstName);
    if (details.lastName)
        record.lastName = u16(*details.lastName);
    if (details.organization)
        record.organization = u16(*details.organization);
    if (details.email)
        record.email = u16(*details.email);
    if (details.comments)
        record.comments = u16(*details.comments);
}

bool hasDetails(const ContactDetailOptions& d)
{
    return d.firstName || d.lastName || d.organization || d.email || d.comments;
}

int identityCommand(const CommandLine& line, Profile& profile)
{
    const std::string verb = line.words.size() > 1 ? line.words[1] : "";
    if (verb == "create") {
        if (line.words.size() != 3)
            return usage("identity create takes one NAME");
        if (profile.own())
            return fail("this profile already has an identity: " + u8(profile.ownerName));
        // A certificate holds text: a name that isn't UTF-8 would not be the name the user typed.
        if (!platform::isValidUtf8(line.words[2]))
            return fail("the name '" + line.words[2] + "' is not valid UTF-8 text");
        const std::u16string name = u16(line.words[2]);
        if (profile.find(name) || findCertificate(name))
            return fail("a contact named '" + line.words[2] + "' exists already");
        if (!profile.config.parsed())
            return fail("the settings file " + u8(configPath())
                + " can't be read, so no identity can be recorded in it; move it aside first");
        ContactRecord record;
        record.name = name;
        applyDetails(line.details, record);
        const EngineStatus made = createOwnIdentity(profile.recipients, profile.config, record);
        if (!made.ok())
            return fail("the identity can't be made for '" + line.words[2] + "': " + statusText(made, "the profile can't be written"));
        return ExitOk;
    }
    if (hasDetails(line.details))
        return usage("details go with 'identity create' only");
    const ContactRecord* own = profile.own();
    if (verb == "show" || verb == "export") {
        if (line.words.size() != 2)
            return usage("identity " + verb + " takes no arguments");
        if (!own)
            return fail("this profile has no identity yet; make one with 'halvoren-cli identity create NAME'");
    }
    if (verb == "show") {
        std::printf("name: %s\n", printable(u8(own->name)).c_str());
        if (!own->email.empty())
            std::printf("e-mail: %s\n", printable(u8(own->email)).c_str());
        std::printf("fingerprint (SHA-256): %s\n", certificateFingerprint(own->identity.certificate()).c_str());
        return ExitOk;
    }
    if (verb == "export") {
        if (line.output.empty())
            return usage("identity export needs -o FILE.kvxk");
        if (!saveCertificateFile(own->identity.certificate(), u16(line.output)))
            return fail("can't write " + line.output + ": " + codeText(platform::lastError()));
        return ExitOk;
    }
    return usage("unknown identity command '" + verb + "'");
}

// Called with the profile locked for a change.
int repairContacts(Profile& profile)
{
    if (!profile.recipients.parsed()) {
        // The unreadable file is kept, under a name of its own, for whoever wants to look at it.
        const std::string file = u8(recipientsPath());
        const std::string aside = file + ".unreadable";
        if (::rename(file.c_str(), aside.c_str()) != 0)
            return fail("can't move " + file + " aside: " + codeText(platform::setLastErrorFromErrno()));
        std::fprintf(stderr, "halvoren-cli: the unreadable contact list was kept as %s\n", aside.c_str());
        bool mismatch = false;
        const std::string error = profile.open(mismatch);
        if (!error.empty() && !mismatch)
            return fail(error);
    }
    std::vector<std::u16string> refiled;
    const EngineStatus repaired = profile.recipients.repair(refiled);
    if (!repaired.ok())
        return fail("the contact list can't be repaired: " + statusText(repaired, "it can't be written"));
    for (const std::u16string& name : refiled)
        std::printf("filed again: %s\n", printable(u8(name)).c_str());
    return ExitOk;
}

int contactsCommand(const CommandLine& line, Profile& profile)
{
    const std::string verb = line.words.size() > 1 ? line.words[1] : "";
    if (verb != "import" && hasDetails(line.details))
        return usage("details go with 'contacts import' only");
    if (verb == "list") {
        if (line.words.size() != 2)
            return usage("contacts list takes no arguments");
        for (const ContactRecord& contact : profile.contacts) {
            std::printf("%s\t%s%s\n", printable(u8(contact.name)).c_str(), printable(u8(contact.email)).c_str(),
                        &contact == profile.own() ? "\t(me)" : "");
        }
        return ExitOk;
    }
    if (verb == "repair") {
        if (line.words.size() != 2)
            return usage("contacts repair takes no arguments");
        return repairContacts(profile);
    }
    if (line.words.size() != 3)
        return verb == "import" || verb == "export" || verb == "remove"
            ? usage("contacts " + verb + " takes one argument")
            : usage("unknown contacts command '" + verb + "'");
    if (verb == "import") {
        CertificatePtr certificate = loadCertificateFile(u16(line.words[2]));
        if (!certificate)
            return fail(line.words[2] + " is not a key file: " + codeText(platform::lastError()));
        const auto name = certificateDisplayName(certificate);
        if (!name || name->empty())
            return fail(line.words[2] + " holds a certificate without a name");
        if (findSamePerson(certificate) || profile.find(*name))
            return fail("Contact already exists. Please select another contact key file.");
        ContactRecord record;
        record.identity = IdentityCertificate(certificate, *name);
        record.name = *name;
        applyDetails(line.details, record);
        const EngineStatus added = profile.recipients.add(record);
        if (!added.ok())
            return fail("the contact can't be stored: " + statusText(added, "the contact list can't be written"));
        return ExitOk;
    }
    const ContactRecord* contact = profile.find(u16(line.words[2]));
    if (!contact)
        return fail("there is no contact named '" + line.words[2] + "'");
    if (verb == "export") {
        if (line.output.empty())
            return usage("contacts export needs -o FILE.kvxk");
        if (!saveCertificateFile(contact->identity.certificate(), u16(line.output)))
            return fail("can't write " + line.output + ": " + codeText(platform::lastError()));
        return ExitOk;
    }
    if (contact == profile.own() || hasPrivateKey(contact->identity.certificate()))
        return fail("'" + line.words[2] + "' is your own identity; it can't be removed");
    const EngineStatus removed = profile.recipients.remove(*contact);
    if (!removed.ok())
        return fail("the contact can't be removed: " + statusText(removed, "the contact list can't be written"));
    return ExitOk;
}

fs::path absolutePath(const std::string& path)
{
    std::error_code ignored;
    return fs::absolute(fs::path(path), ignored).lexically_normal();
}

// The words for a failed file system call, as the engine would give them for the same errno.
std::string systemText(const std::error_code& code)
{
    return code.category() == std::system_category() || code.category() == std::generic_category()
        ? codeText(platform::codeFromErrno(code.value()))
        : code.message();
}

// A source as the user gave it: the "./" that keeps a relative path relative is ours.
std::string shownSource(const std::string& path) { return path.rfind("./", 0) == 0 ? path.substr(2) : path; }

// Sources that can't be read: without --skip-unreadable the first stops the run, with it each
// is left out with a warning and counted.
struct UnreadableSources {
    bool skip = false;
    int skipped = 0;
    std::string error;

    // False when the run must stop.
    bool report(const std::string& what, const std::string& reason)
    {
        if (!skip) {
            error = "can't read " + what + ": " + reason
                + "; no package was made (--skip-unreadable leaves out what can't be read)";
            return false;
        }
        std::fprintf(stderr, "halvoren-cli: skipping %s: %s\n", printable(what).c_str(), printable(reason).c_str());
        ++skipped;
        return true;
    }
};

// The path by which the engine reads a source, chosen so that the engine's full-path rule (all
// after the first separator) stores it as the user gave it, as tar does: an absolute path as it
// stands ("/home/ann/a" is stored as "home\ann\a"), a relative one behind "./" ("docs" is read as
// "./docs" and stored as "docs\..."). With --flat only the bare name is stored, so any form does.
bool sourcePath(const std::string& given, bool flat, fs::path& path, std::string& error)
{
    fs::path normal = fs::path(given).lexically_normal();
    if (normal.has_relative_path() && normal.filename().empty())
        normal = normal.parent_path();
    if (flat || normal.is_absolute()) {
        path = flat ? absolutePath(given) : normal;
        return true;
    }
    if (!normal.empty() && *normal.begin() == "..") {
        // Its entries would start with "..", which extraction refuses: the whole package would
        // be lost to its recipients.
        error = given
            + " lies outside the current folder, and entries are stored under the path given; give it "
              "from a folder above it, as an absolute path, or use --flat";
        return false;
    }
    path = normal.empty() || normal == "." ? fs::path(".") : fs::path(".") / normal;
    return true;
}

// Files and folders as the window's drop takes them: a file as it is, a folder by its files.
bool collectFiles(const std::vector<std::string>& paths, bool flat, FileSet& files, UnreadableSources& unreadable,
    LeftOut& leftOut, std::string& error)
{
    for (const std::string& given : paths) {
        fs::path path;
        if (!sourcePath(given, flat, path, error))
            return false;
        std::error_code code;
        const fs::file_status status = fs::status(path, code);
        if (code || !fs::exists(status)) {
            error = "can't find " + given + (code ? ": " + systemText(code) : "");
            return false;
        }
        if (fs::is_regular_file(status))
            files.insert(u16(path.string()));
        else if (fs::is_directory(status)) {
            const bool walked = walkFolder(u16(path.string()), leftOut,
                [&](const std::u16string& file) {
                    files.insert(file);
                    return true;
                },
                [&](const std::u16string& folder, std::uint32_t code) {
                    return unreadable.report("the folder " + shownSource(u8(folder)), codeText(code));
                });
            if (!walked) {
                error = unreadable.error;
                return false;
            }
        } else {
            error = given + " is neither a file nor a folder";
            return false;
        }
    }
    return true;
}

// Every name is checked before anything is written: a name that would come back as something
// else, or not at all, is refused with the file it came from.
bool checkEntryNames(const FileSet& files, bool flat, std::string& error)
{
    const std::uint32_t mode = flat ? NameModeBareName : NameModeFullPath;
    std::map<std::u16string, const std::u16string*> stored;
    for (const std::u16string& path : files) {
        // Only a refusal shows the name; made for each of thousands of names, it cost more than the check.
        auto shown = [&path] { return shownSource(u8(path)); };
        const auto cut = flat ? path.rfind(NativeSeparator) : path.find(NativeSeparator);
        if (path.find(u'\\', cut == std::u16string::npos ? 0 : cut + 1) != std::u16string::npos) {
            error = shown()
                + ": a name with a backslash can't be stored, since the backslash separates folders in a "
                  "package; rename it first";
            return false;
        }
        const std::u16string name = PackageEngine::entryNameFor(path, mode);
        std::vector<std::u16string> parts;
        if (!PackageEngine::splitEntryName(name, parts).ok()) {
            error = shown() + ": its entry name '" + u8(name) + "' would be refused on extraction";
            return false;
        }
        const auto [earlier, added] = stored.emplace(name, &path);
        if (!added) {
            const std::u16string& first = *earlier->second;
            error = (flat ? "--flat would store both " : "both ") + shownSource(u8(first)) + " and " + shown() + " as '"
                + u8(name) + "'; no package was made";
            return false;
        }
    }
    return true;
}

int encryptCommand(const CommandLine& line, Profile& profile)
{
    const std::vector<std::string> paths(line.words.begin() + 1, line.words.end());
    if (line.output.empty())
        return usage("encrypt needs -o OUT.kvx");
    if (paths.empty())
        return usage("encrypt needs at least one file or folder");
    if (line.plain && (line.self || !line.recipients.empty()))
        return usage("--plain makes a package for everybody; it doesn't go with -r or --self");
    if (!line.plain && !line.self && line.recipients.empty())
        return usage("name at least one recipient with -r NAME or --self, or use --plain for an unencrypted package");

    std::vector<const ContactRecord*> recipients;
    for (const std::string& name : line.recipients) {
        const ContactRecord* contact = profile.find(u16(name));
        if (!contact)
            return usage("there is no contact named '" + name + "' (see 'halvoren-cli contacts list')");
        if (std::find(recipients.begin(), recipients.end(), contact) == recipients.end())
            recipients.push_back(contact);
    }
    if (line.self) {
        const ContactRecord* own = profile.own();
        if (!own)
            return fail("this profile has no identity yet; make one with 'halvoren-cli identity create NAME'");
        if (std::find(recipients.begin(), recipients.end(), own) == recipients.end())
            recipients.push_back(own);
    }

    FileSet files;
    std::string error;
    UnreadableSources unreadable;
    unreadable.skip = line.skipUnreadable;
    LeftOut leftOut;
    if (!collectFiles(paths, line.flat, files, unreadable, leftOut, error) || !checkEntryNames(files, line.flat, error))
        return fail(error);
    if (files.empty())
        return fail(unreadable.skipped ? "no package was made: nothing that was given could be read"
                                       : "there are no files to encrypt in what was given");
    const fs::path output = absolutePath(line.output);
    // Replacing goes by a rename, which a read-only file doesn't stop; its owner meant it to stay.
    if (::faccessat(AT_FDCWD, output.c_str(), F_OK, AT_EACCESS) == 0
        && ::faccessat(AT_FDCWD, output.c_str(), W_OK, AT_EACCESS) != 0 && errno == EACCES)
        return fail(line.output + " is read-only; it is left as it is and no package was made");

    const ContactRecord none;
    PackageEngine engine(profile.own() ? *profile.own() : none);
    const std::size_t fileCount = files.size();
    engine.setFiles(std::move(files));
    engine.setPackagePath(u16(output.string()));
    engine.setRecipients(recipients);
    engine.setNameMode(line.flat ? NameModeBareName : NameModeFullPath);
    ProgressPrinter progress(ProgressPrinter::Mode::Create);
    progress.setSkipUnreadable(line.skipUnreadable);
    engine.setCallback(ProgressPrinter::callback);
    engine.setUserParameter(progress.record());
    EngineStatus status = engine.create();

    // A stop that comes after the last callback is too late to matter: the package is whole.
    if (!status.ok() && ProgressPrinter::interrupted()) {
        fail("stopped; no package was made");
        return ExitStopped;
    }
    // As tar says "file is the archive": the package would replace the only copy of a file that
    // goes into it. The engine sees that as it opens the files, so the names are not looked at
    // twice; nothing is written at the package's path before it does.
    if (!status.ok() && engine.failure().sourceIsPackage)
        return fail(line.output + " is one of the files to encrypt (" + shownSource(u8(engine.failure().path))
            + "); choose another name for the package");
    if (!status.ok() && progress.reportedFailure())
        return fail("no package was made (--skip-unreadable leaves out what can't be read)");
    if (!status.ok())
        return fail("the package can't be made: " + u8(::statusText(status, engine.failure())));
    // The engine calls a run whose every source was skipped a success, and leaves whatever lay at
    // the output path before; only the count of skipped files tells.
    if (static_cast<std::size_t>(progress.skippedFiles()) >= fileCount)
        return fail("no package was made: none of the files could be read");
    if (!leftOut.empty())
        std::fprintf(stderr, "halvoren-cli: %s\n", leftOutText(leftOut).c_str());
    if (const int skipped = unreadable.skipped + progress.skippedFiles(); skipped > 0) {
        std::fprintf(stderr, "halvoren-cli: the package was made without %d %s that couldn't be read\n", skipped,
            skipped == 1 ? "source" : "sources");
    }
    return ExitOk;
}

int decryptCommand(const CommandLine& line, Profile& profile)
{
    if (line.words.size() != 2)
        return usage("decrypt takes one PACKAGE");
    if (line.folder.empty())
        return usage("decrypt needs -C DIR, the folder to write the files into");
    const fs::path folder = absolutePath(line.folder);
    std::error_code code;
    fs::create_directories(folder, code);
    if (code || !fs::is_directory(folder))
        return fail("can't make the folder " + line.folder + (code ? ": " + code.message() : ""));

    const ContactRecord none;
    PackageEngine engine(profile.own() ? *profile.own() : none);
    engine.setPackagePath(u16(absolutePath(line.words[1]).string()));
    engine.setExtractFolder(u16(folder.string()));
    ProgressPrinter progress(ProgressPrinter::Mode::Extract);
    progress.setPackagePath(u16(line.words[1]));
    engine.setCallback(ProgressPrinter::callback);
    engine.setUserParameter(progress.record());
    const EngineStatus status = engine.extract();

    if (status.ok())
        return ExitOk;
    if (ProgressPrinter::interrupted()) {
        // An entry is put at its name only when it is whole, so the one in hand is simply not there.
        fail("stopped; the files extracted so far stay in " + line.folder);
        return ExitStopped;
    }
    // The words for a refused package or a missing recipient record were given with the report.
    if (progress.reportedFailure())
        return ExitFailed;
    if (status.code() == win::ERROR_FILE_INVALID)
        return fail("can't open " + line.words[1] + ": " + codeText(platform::lastError() ? platform::lastError() : status.code()));
    return fail(u8(::statusText(status, engine.failure())));
}

// list and verify: the checks of an extraction, in the same memory, with nothing written.
int checkCommand(const CommandLine& line, Profile& profile)
{
    const std::string& command = line.words[0];
    if (line.words.size() != 2)
        return usage(command + " takes one PACKAGE");
    const std::string& shown = line.words[1];
    const ContactRecord none;
    PackageEngine engine(profile.own() ? *profile.own() : none);
    const std::u16string packagePath = u16(absolutePath(shown).string());
    engine.setPackagePath(packagePath);
    ProgressPrinter progress(ProgressPrinter::Mode::Extract);
    progress.setPackagePath(u16(shown));
    engine.setCallback(ProgressPrinter::callback);
    engine.setUserParameter(progress.record());
    const EngineStatus status = engine.check();

    if (!status.ok()) {
        if (ProgressPrinter::interrupted()) {
            fail("stopped; the package was not checked to the end");
            return ExitStopped;
        }
        if (progress.reportedFailure())
            return ExitFailed;
        if (status.code() == win::ERROR_FILE_INVALID)
            return fail("can't open " + shown + ": " + codeText(platform::lastError() ? platform::lastError() : status.code()));
        // Every message names the package as the user gave it.
        FailureSubject subject = engine.failure();
        if (subject.path.empty() || subject.path == packagePath)
            subject.path = u16(shown);
        // The envelope opened with the key, yet the cipher text would not decrypt: what a check
        // asks about is then the package, which is damaged, not a file that "can't be created".
        if (status.code() == win::ERROR_CANNOT_MAKE && !subject.packageInvalid) {
            subject.packageInvalid = true;
            return fail(u8(::statusText(EngineStatus(win::ERROR_BAD_FORMAT, SeverityError), subject)));
        }
        return fail(u8(::statusText(status, subject)));
    }
    const ContainerIndex& entries = engine.checkedEntries();
    std::int64_t bytes = 0;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const ContainerEntry entry = entries.entry(i);
        bytes += entry.size();
        if (command == "list") {
            std::u16string name = entry.name();
            std::replace(name.begin(), name.end(), u'\\', u'/');
            std::printf("%s\t%lld\n", printable(u8(name)).c_str(), static_cast<long long>(entry.size()));
        }
    }
    if (command == "verify") {
        std::printf("%s: intact (%s; %zu %s, %lld bytes)\n", printable(shown).c_str(),
            engine.checkedDecrypted() ? "encrypted, opened with your key" : "not encrypted", entries.size(),
            entries.size() == 1 ? "file" : "files", static_cast<long long>(bytes));
    }
    return std::fflush(stdout) == 0 ? ExitOk : fail("can't write to standard output");
}

}  // namespace

int runCommand(const CommandLine& line)
{
    const std::string command = line.words.empty() ? "" : line.words[0];
    if (line.help) {
        const auto help = CommandHelp.find(command);
        std::fputs(help != CommandHelp.end() ? help->second.c_str() : ToolHelp, stdout);
        return ExitOk;
    }
    if (command.empty()) {
        std::fputs(ToolHelp, stderr);
        return ExitUsage;
    }
    if (!CommandHelp.count(command))
        return usage("unknown command '" + command + "'");
    if (!line.profile.empty()) {
        const fs::path folder = absolutePath(line.profile);
        std::error_code code;
        // A folder made here holds keys: private from the start. One that exists is left as it is.
        if (!fs::exists(folder, code)) {
            fs::create_directories(folder, code);
            if (!code)
                fs::permissions(folder, fs::perms::owner_all, code);
            if (code)
                return fail("can't make the profile folder " + line.profile + ": " + code.message());
        }
        platform::setProfileDirectory(u16(folder.string()));
    }
    const bool exporting = line.words.size() > 1 && line.words[1] == "export";
    if (!line.output.empty() && command != "encrypt" && !exporting)
        return usage("-o goes with encrypt and export only");
    if (!line.folder.empty() && command != "decrypt")
        return usage("-C goes with decrypt only");
    if (command != "encrypt" && (line.self || line.plain || line.flat || !line.recipients.empty()))
        return usage("-r, --self, --plain and --flat go with encrypt only");

    if (command != "encrypt" && line.skipUnreadable)
        return usage("--skip-unreadable goes with encrypt only");

    // A command that changes the profile holds it exclusively from the first read to the last
    // write, so that two tools at once can't lose each other's change. The others read it under
    // the shared lock and let go before the long work of a package.
    const std::string verb = line.words.size() > 1 ? line.words[1] : "";
    const bool changes = (command == "identity" && verb == "create")
        || (command == "contacts" && (verb == "import" || verb == "remove" || verb == "repair"));
    platform::ProfileLock::setWaitNotice(
        [] { std::fputs("halvoren-cli: waiting for another program that is using the profile...\n", stderr); });
    auto lock = std::make_unique<platform::ProfileLock>(
        changes ? platform::ProfileLock::Mode::Exclusive : platform::ProfileLock::Mode::Shared);
    if (changes && !lock->held())
        return fail(
            "the profile " + u8(dataDirectory()) + " can't be locked for a change: " + codeText(platform::lastError()));

    Profile profile;
    bool mismatch = false;
    if (const std::string error = profile.open(mismatch); !error.empty()) {
        if (!(mismatch && command == "contacts" && verb == "repair"))
            return fail(error);
    }
    if (command == "identity")
        return identityCommand(line, profile);
    if (command == "contacts")
        return contactsCommand(line, profile);
    lock.reset();
    ProgressPrinter::installInterruptHandlers();
    if (command == "list" || command == "verify")
        return checkCommand(line, profile);
    return command == "encrypt" ? encryptCommand(line, profile) : decryptCommand(line, profile);
}
