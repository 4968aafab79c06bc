#include "cli/CliCommands.h"

#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <system_error>
#include <vector>

#include "cli/ProgressPrinter.h"
#include "contacts/ConfigStore.h"
#include "contacts/RecipientsStore.h"
#include "crypto/CertificateStore.h"
#include "crypto/IdentityCertificate.h"
#include "package/PackageEngine.h"
#include "platform/ErrorText.h"
#include "platform/LastError.h"
#include "platform/NativeFile.h"
#include "engine/AppConstants.h"
#include "platform/Profile.h"
#include "platform/Utf.h"

namespace fs = std::filesystem;

namespace {

const char ToolHelp[] =
    "Usage: halvoren-cli [--profile DIR] COMMAND ...\n"
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
    "  encrypt -o OUT.kvx [-r NAME]... [--self] [--plain] [--flat] PATH...\n"
    "  decrypt PACKAGE.kvx -C DIR\n"
    "\n"
    "Details: --first-name T --last-name T --organization T --email T --comments T\n"
    "Run 'halvoren-cli COMMAND --help' for more.\n";

const std::map<std::string, std::string> CommandHelp {
    {"identity",
     "Usage: halvoren-cli identity create NAME [--first-name T] [--last-name T] [--organization T]\n"
     "                                 [--email T] [--comments T]\n"
     "       halvoren-cli identity show\n"
     "       halvoren-cli identity export -o FILE.kvxk\n"
     "\n"
     "'create' makes your self-signed identity and its key, and files it as your own contact.\n"
     "A profile has one identity. 'show' prints your name, e-mail and certificate fingerprint.\n"
     "'export' writes your key file (your certificate, no private key) for others to import.\n"},
    {"contacts",
     "Usage: halvoren-cli contacts list\n"
     "       halvoren-cli contacts import FILE.kvxk [--first-name T] [--last-name T]\n"
     "                                  [--organization T] [--email T] [--comments T]\n"
     "       halvoren-cli contacts export NAME -o FILE.kvxk\n"
     "       halvoren-cli contacts remove NAME\n"
     "\n"
     "'list' prints one contact a line: name, e-mail and \"(me)\" for your own, separated by tabs.\n"
     "'import' adds the certificate of a key file (DER or PEM) as a contact. NAME is a contact's\n"
     "exact name.\n"},
    {"encrypt",
     "Usage: halvoren-cli encrypt -o OUT.kvx [-r NAME]... [--self] [--plain] [--flat] PATH...\n"
     "\n"
     "Makes one package of the files and folders given; folders are walked recursively (links to\n"
     "files are followed, linked folders are not entered). Only the contacts named with -r (exact\n"
     "names) and, with --self, you yourself can open it. --plain makes an unencrypted package\n"
     "instead. Full paths are stored, so that the folders are recreated on extraction; --flat\n"
     "stores bare file names. Ctrl-C stops the run and leaves nothing behind.\n"},
    {"decrypt",
     "Usage: halvoren-cli decrypt PACKAGE.kvx -C DIR\n"
     "\n"
     "Checks the package, opens it with your identity's key if it is encrypted, and writes its\n"
     "files below DIR (created if missing). Existing files of the same names are replaced.\n"
     "Nothing is ever written outside DIR.\n"},
};

std::u16string u16(const std::string& text) { return platform::fromUtf8(text); }
std::string u8(const std::u16string& text) { return platform::toUtf8(text); }

int usage(const std::string& message)
{
    std::fprintf(stderr, "halvoren-cli: %s\nRun 'halvoren-cli --help' for usage.\n", message.c_str());
    return ExitUsage;
}

int fail(const std::string& message)
{
    std::fprintf(stderr, "halvoren-cli: %s\n", message.c_str());
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

    std::string open()
    {
        if (!ensureFile(configPath()) || !ensureFile(recipientsPath()))
            return "the profile folder " + u8(dataDirectory()) + " can't be written: " + codeText(platform::lastError());
        config.load(configPath());
        ownerName = config.getString(ConfigKey::OwnerName);
        openCertificateStore(ownerName);
        const EngineStatus loaded = recipients.load(contacts, recipientsPath());
        if (!loaded.ok())
            return "the contact list can't be read: " + statusText(loaded, "it doesn't match the certificate store");
        return {};
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
        const std::u16string name = u16(line.words[2]);
        if (profile.find(name) || findCertificate(name))
            return fail("a contact with a name like '" + line.words[2] + "' exists already");
        auto identity = IdentityCertificate::create(name);
        if (!identity)
            return fail("the identity can't be made for '" + line.words[2] + "': " + codeText(platform::lastError()));
        ContactRecord record;
        record.identity = *identity;
        record.name = name;
        applyDetails(line.details, record);
        const EngineStatus added = profile.recipients.add(record);
        if (!added.ok())
            return fail("the identity can't be stored: " + statusText(added, "the contact list can't be written"));
        if (!profile.config.setString(ConfigKey::OwnerName, name))
            return fail("the settings can't be written to " + u8(configPath()));
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
        std::printf("name: %s\n", u8(own->name).c_str());
        if (!own->email.empty())
            std::printf("e-mail: %s\n", u8(own->email).c_str());
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

int contactsCommand(const CommandLine& line, Profile& profile)
{
    const std::string verb = line.words.size() > 1 ? line.words[1] : "";
    if (verb != "import" && hasDetails(line.details))
        return usage("details go with 'contacts import' only");
    if (verb == "list") {
        if (line.words.size() != 2)
            return usage("contacts list takes no arguments");
        for (const ContactRecord& contact : profile.contacts) {
            std::printf("%s\t%s%s\n", u8(contact.name).c_str(), u8(contact.email).c_str(),
                        &contact == profile.own() ? "\t(me)" : "");
        }
        return ExitOk;
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
        if (findCertificate(*name) || profile.find(*name))
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
    if (contact == profile.own())
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

// Every regular file below a folder, links to files included. Linked folders are not entered, so
// a link can't pull in a tree the user didn't name or make the walk go round in a circle. A folder
// that can't be read is left out with a warning, as the engine leaves out a file it can't read.
void walkFolder(const fs::path& top, FileSet& files)
{
    std::vector<fs::path> pending {top};
    while (!pending.empty()) {
        const fs::path folder = std::move(pending.back());
        pending.pop_back();
        std::error_code code;
        for (fs::directory_iterator entry(folder, code); !code && entry != fs::directory_iterator();
             entry.increment(code)) {
            std::error_code ignored;
            if (entry->is_symlink(ignored)) {
                if (entry->is_regular_file(ignored))
                    files.insert(u16(entry->path().string()));
            } else if (entry->is_directory(ignored)) {
                pending.push_back(entry->path());
            } else if (entry->is_regular_file(ignored)) {
                files.insert(u16(entry->path().string()));
            }
        }
        if (code)
            std::fprintf(stderr, "halvoren-cli: skipping the folder %s: %s\n", folder.c_str(), systemText(code).c_str());
    }
}

// Files and folders as the window's drop takes them: a file as it is, a folder by its files.
bool collectFiles(const std::vector<std::string>& paths, FileSet& files, std::string& error)
{
    for (const std::string& given : paths) {
        const fs::path path = absolutePath(given);
        std::error_code code;
        const fs::file_status status = fs::status(path, code);
        if (code || !fs::exists(status)) {
            error = "can't find " + given + (code ? ": " + systemText(code) : "");
            return false;
        }
        if (fs::is_regular_file(status))
            files.insert(u16(path.string()));
        else if (fs::is_directory(status))
            walkFolder(path, files);
        else {
            error = given + " is neither a file nor a folder";
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
    if (!collectFiles(paths, files, error))
        return fail(error);
    if (files.empty())
        return fail("there are no files to encrypt in what was given");
    const fs::path output = absolutePath(line.output);

    const ContactRecord none;
    PackageEngine engine(profile.own() ? *profile.own() : none);
    engine.setFiles(files);
    engine.setPackagePath(u16(output.string()));
    engine.setRecipients(recipients);
    engine.setNameMode(line.flat ? NameModeBareName : NameModeFullPath);
    ProgressPrinter progress(ProgressPrinter::Mode::Create);
    engine.setCallback(ProgressPrinter::callback);
    engine.setUserParameter(progress.record());
    EngineStatus status = engine.create();

    // A stop that comes after the last callback is too late to matter: the package is whole.
    if (!status.ok() && ProgressPrinter::interrupted()) {
        fail("stopped; no package was made");
        return ExitStopped;
    }
    if (!status.ok())
        return fail("the package can't be made: " + u8(::statusText(status, engine.failure())));
    // The engine calls a run whose every source was skipped a success, and leaves whatever lay at
    // the output path before; only the count of skipped files tells.
    if (static_cast<std::size_t>(progress.skippedFiles()) >= files.size())
        return fail("no package was made: none of the files could be read");
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

    Profile profile;
    if (const std::string error = profile.open(); !error.empty())
        return fail(error);
    if (command == "identity")
        return identityCommand(line, profile);
    if (command == "contacts")
        return contactsCommand(line, profile);
    ProgressPrinter::installInterruptHandlers();
    return command == "encrypt" ? encryptCommand(line, profile) : decryptCommand(line, profile);
}
