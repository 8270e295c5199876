// Built-ins that describe classes at the prompt: help, properties, methods.
//
// The members come from the class-object system (what the class defines); the lines that say
// what each does, and the forms a method is called in, come from a help file installed with
// korvan: <resources>/help/<full class name>.json (see docs/shell/language.md). A class without
// such a file is still listed, with its members' names only.
#include <boost/json.hpp>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "Builtins.hpp"
#include "kcos/Class.hpp"
#include "kcos/ClassInfo.hpp"
#include "kcos/Members.hpp"
#include "kcos/MethodInfo.hpp"
#include "korvan/host/Catalogue.hpp"
#include "korvan/host/Errors.hpp"
#include "korvan/lang/Interpreter.hpp"
#include "kx/kxArray.hpp"
#include "kx/kxUtf.hpp"

namespace korvan::lang {
namespace {

namespace fs = std::filesystem;
constexpr const char* kComponent = "KORVAN:lang";

std::ostream& output() {
    Interpreter* in = Interpreter::current();
    return in ? in->out() : std::cout;
}

// The class a help call is about: an object's class, or a class named by a text.
kcos::COSClass* classOf(const kxArray* subject, const char* function) {
    std::string name;
    if (kxIsObject(subject)) {
        name = kxGetClassName(subject);
    } else if (kxIsChar(subject) || kxIsStringArray(subject)) {
        name = textOf(subject);
    } else {
        korvan::host::throwError(kComponent, "NoHelp", function, kxGetClassName(subject));
    }
    kcos::COSClass* cls =
        name.empty() ? nullptr : kcos::COSClass::getClass(kcos::internal::makeInterned(name));
    if (!cls) korvan::host::throwError(kComponent, "NoHelp", function, name);
    cls->ensureDefined();
    return cls;
}

// The help file of a class, or null when korvan has none for it. Installed korvan keeps its
// resources beside its bin folder; a build tree keeps them where the host's catalogue is.
boost::json::object helpFile(const kcos::COSClass* cls) {
    std::error_code ec;
    fs::path exe = fs::read_symlink("/proc/self/exe", ec);
    std::vector<fs::path> folders;
    if (!ec)
        folders.push_back(exe.parent_path() / ".." / "share" / "korvan" / "resources" / "help");
    folders.push_back(korvan::host::MessageCatalogue::defaultFolder().parent_path() / "help");
    for (const fs::path& folder : folders) {
        std::ifstream in(folder / (cls->getName().str() + ".json"));
        if (!in) continue;
        std::stringstream text;
        text << in.rdbuf();
        boost::system::error_code parseError;
        boost::json::value value = boost::json::parse(text.str(), parseError);
        if (!parseError && value.is_object()) return value.as_object();
    }
    return {};
}

std::string stringAt(const boost::json::object& object, std::string_view key) {
    const boost::json::value* v = object.if_contains(key);
    return v && v->is_string() ? std::string(v->as_string()) : std::string();
}

struct Member {
    std::string fName;
    bool fSettable = false;
};

// Public, visible properties and methods a person can use, in definition order. The
// constructor and private methods (delete) are not for the person.
std::vector<Member> membersOf(const kcos::COSClass* cls, kcos::MemberKind kind) {
    std::vector<Member> members;
    kcos::COSIterator it = cls->getMemberIterator(kind);
    while (kcos::COSMember* member = it.nextElement()) {
        if (const kcos::COSProperty* p = kcos::cosiToProperty(member)) {
            if (p->getGetAccess() != kcos::MemberAccess::Public || !p->isVisible()) continue;
            members.push_back({member->getName().str(),
                               p->hasSetter() && p->getSetAccess() == kcos::MemberAccess::Public});
        } else if (kcos::COSMethodInfo* m = kcos::cosiToMethod(member)) {
            if (m->getMemberAccess() != kcos::MemberAccess::Public || !m->isVisible() ||
                !m->isFirstArgDispatch())
                continue;
            bool seen = false;
            for (const Member& earlier : members)
                seen = seen || earlier.fName == member->getName().str();
            if (!seen) members.push_back({member->getName().str(), false});
        }
    }
    return members;
}

// "  name   line" with the lines of one block aligned; a name too long for the column has
// its line below it.
void writeRows(std::ostream& out, const std::vector<std::pair<std::string, std::string>>& rows) {
    constexpr std::size_t kMaxColumn = 28;
    std::size_t width = 0;
    for (const auto& row : rows)
        if (row.first.size() <= kMaxColumn) width = std::max(width, row.first.size());
    for (const auto& [left, right] : rows) {
        out << "  " << left;
        if (!right.empty()) {
            if (left.size() > width)
                out << "\n  " << std::string(width, ' ');
            else
                out << std::string(width - left.size(), ' ');
            out << "   " << right;
        }
        out << "\n";
    }
}

void writeHelp(std::ostream& out, const kcos::COSClass* cls) {
    boost::json::object file = helpFile(cls);
    std::string summary = stringAt(file, "summary");
    if (summary.empty()) summary = cls->getInfo() ? cls->getInfo()->getDescription() : "";
    out << cls->getName().str() << (summary.empty() ? "" : ": " + summary) << "\n";
    if (std::string create = stringAt(file, "create"); !create.empty())
        out << "\n  " << create << "\n";
    if (const boost::json::value* notes = file.if_contains("notes"); notes && notes->is_array()) {
        out << "\n";
        for (const auto& note : notes->as_array())
            if (note.is_string()) out << "  " << std::string(note.as_string()) << "\n";
    }

    const boost::json::object* lines = nullptr;
    if (const boost::json::value* v = file.if_contains("properties"); v && v->is_object())
        lines = &v->as_object();
    std::vector<std::pair<std::string, std::string>> rows;
    for (const Member& p : membersOf(cls, kcos::MemberKind::Property)) {
        std::string line = lines ? stringAt(*lines, p.fName) : std::string();
        if (!p.fSettable) line += line.empty() ? "Read-only." : " Read-only.";
        rows.emplace_back(p.fName, line);
    }
    if (!rows.empty()) {
        out << "\nProperties:\n";
        writeRows(out, rows);
    }

    const boost::json::object* forms = nullptr;
    if (const boost::json::value* v = file.if_contains("methods"); v && v->is_object())
        forms = &v->as_object();
    rows.clear();
    for (const Member& m : membersOf(cls, kcos::MemberKind::Method)) {
        const boost::json::value* given = forms ? forms->if_contains(m.fName) : nullptr;
        if (!given || !given->is_array() || given->as_array().empty()) {
            rows.emplace_back(m.fName + "(obj, ...)", "");
            continue;
        }
        for (const auto& form : given->as_array()) {
            if (!form.is_array() || form.as_array().size() != 2 ||
                !form.as_array()[0].is_string() || !form.as_array()[1].is_string())
                continue;
            rows.emplace_back(std::string(form.as_array()[0].as_string()),
                              std::string(form.as_array()[1].as_string()));
        }
    }
    if (!rows.empty()) {
        out << "\nMethods:\n";
        writeRows(out, rows);
    }
}

// properties(x) / methods(x): the list written out, or as a string column when asked for.
std::vector<Value> memberList(const Args& a, int nlhs, kcos::MemberKind kind,
                              const char* function) {
    const kcos::COSClass* cls = classOf(a[0], function);
    std::vector<Member> members = membersOf(cls, kind);
    if (nlhs >= 1) {
        kxSize dims[2] = {static_cast<kxSize>(members.size()), 1};
        Value list(kxCreateStringArray(2, dims));
        for (std::size_t i = 0; i < members.size(); ++i)
            kxSetStringElement(list.get(), static_cast<kxSize>(i),
                               kx::utf8ToUtf16(members[i].fName));
        return {std::move(list)};
    }
    std::ostream& out = output();
    out << (kind == kcos::MemberKind::Property ? "Properties" : "Methods") << " of "
        << cls->getName().str() << ":\n";
    for (const Member& m : members) out << "  " << m.fName << "\n";
    out << std::flush;
    return {};
}

}  // namespace

void registerHelpBuiltins() {
    defineBuiltin("help", 0, 1, [](const Args& a, int) {
        std::ostream& out = output();
        if (a.empty()) {
            out << "help(x) describes the class of the object x, or the class named by the text "
                   "x:\n"
                   "its properties and its methods with the forms they are called in.\n"
                   "properties(x) and methods(x) list their names.\n"
                << std::flush;
            return std::vector<Value>{};
        }
        writeHelp(out, classOf(a[0], "help"));
        out << std::flush;
        return std::vector<Value>{};
    });
    defineBuiltin("properties", 1, 1, [](const Args& a, int nlhs) {
        return memberList(a, nlhs, kcos::MemberKind::Property, "properties");
    });
    defineBuiltin("methods", 1, 1, [](const Args& a, int nlhs) {
        return memberList(a, nlhs, kcos::MemberKind::Method, "methods");
    });
}

}  // namespace korvan::lang
