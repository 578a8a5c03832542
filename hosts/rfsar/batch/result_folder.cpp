// SPDX-License-Identifier: MIT
#include "batch/result_folder.h"

#include "loader/plugin.h"
#include "output/output_file.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <regex>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace batch {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const fs::path& file, int fault) {
    throw loader::Error(file.string() + ": cannot be written: " + std::strerror(fault));
}

void makeFolder(const fs::path& folder) {
    std::error_code fault;
    fs::create_directories(folder, fault);
    if (fault)
        fail(folder, fault.value());
}

bool isRows(const fs::path& file) {
    return file.extension() == ".jsonl" && file.filename().string().starts_with("rows-");
}

/// Whether a name is an id, with or without a count after it.
bool isNameFor(const std::string& name, const std::string& id, const std::string& extension) {
    if (!name.starts_with(id) || !name.ends_with(extension) ||
        name.size() < id.size() + extension.size())
        return false;
    const std::string count = name.substr(id.size(), name.size() - id.size() - extension.size());
    return count.empty() ||
           (count.front() == '-' && count.find_first_not_of("0123456789", 1) == std::string::npos);
}

std::string hostName() {
    char name[256] = "";
    gethostname(name, sizeof name - 1);
    return name;
}

} // namespace

ResultFolder::ResultFolder(const std::string& path, Use use)
    : path_(fs::absolute(path).lexically_normal()), shared_(use == Use::shared) {
    makeFolder(path_);
    lock(use);
    readRows(rowsPath());
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(workPath(), ignored))
        if (isRows(entry.path()))
            for (std::string& file : readRows(entry.path()))
                added_.insert(std::move(file));
    for (const auto& [file, row] : rows_)
        if (!row.output.empty())
            owners_.emplace(row.output, file);
    if (use != Use::shared)
        removeParts();
}

ResultFolder::~ResultFolder() {
    if (lock_ >= 0)
        close(lock_);
}

/// On file systems without locks (some network ones) users must take care themselves.
void ResultFolder::lock(Use use) {
    const fs::path file = path_ / ".batch.lock";
    lock_ = open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (lock_ < 0)
        fail(file, errno);
    const int how = use == Use::shared        ? LOCK_SH
                    : use == Use::afterOthers ? LOCK_EX
                                              : LOCK_EX | LOCK_NB;
    if (flock(lock_, how) != 0 && errno == EWOULDBLOCK)
        throw loader::Error(path_.string() + ": another batch is at work in this folder");
}

std::vector<std::string> ResultFolder::readRows(const fs::path& file) {
    std::vector<std::string> products;
    std::ifstream stream(file);
    for (std::string line; std::getline(stream, line);)
        if (Row row; readRow(line, row)) {
            products.push_back(row.file);
            rows_.insert_or_assign(products.back(), std::move(row));
        }
    return products;
}

void ResultFolder::removeParts() const {
    static const std::regex part(R"(.*\.part-\d+-\d+.*)");
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(path_, ignored)) {
        const std::string name = entry.path().filename();
        if (name.find(".part-") != std::string::npos && std::regex_match(name, part))
            fs::remove(entry.path(), ignored);
    }
}

std::string ResultFolder::claim(const std::string& id, const std::string& extension,
                                const std::string& file) const {
    if (const auto row = rows_.find(file); row != rows_.end() && !row->second.output.empty()) {
        const std::string& before = row->second.output;
        if (isNameFor(before, id, extension))
            return before;
    }
    const fs::path claims = workPath() / "claims";
    makeFolder(claims);
    for (int count = 1;; ++count) {
        const std::string name = id + (count > 1 ? '-' + std::to_string(count) : "") + extension;
        if (const auto owner = owners_.find(name); owner != owners_.end() && owner->second != file)
            continue;
        // A link exists completely or not at all, on every machine that shares the folder.
        std::error_code fault;
        fs::create_symlink(file, claims / name, fault);
        if (!fault)
            return name;
        if (fault != std::errc::file_exists)
            fail(claims / name, fault.value());
        if (fs::read_symlink(claims / name, fault) == file)
            return name;
    }
}

void ResultFolder::add(Row row) {
    if (!sink_) {
        makeFolder(workPath());
        const fs::path file = workPath() / ("rows-" + hostName() + '-' + std::to_string(getpid()) +
                                            '-' + std::to_string(time(nullptr)) + ".jsonl");
        sink_.reset(std::fopen(file.c_str(), "ae"));
        if (!sink_)
            fail(file, errno);
    }
    const std::string line = rowLine(row) + '\n';
    if (std::fwrite(line.data(), 1, line.size(), sink_.get()) != line.size() ||
        std::fflush(sink_.get()) != 0)
        fail(workPath(), errno);
    std::string key = row.file;
    rows_.insert_or_assign(std::move(key), std::move(row));
}

void ResultFolder::keep(const std::string& file) {
    Row row = rows_.at(file);
    row.status = "kept";
    row.reason.clear();
    if (shared_)
        add(std::move(row));
    else
        rows_.at(file) = std::move(row);
}

void ResultFolder::join(const std::string& list) {
    OutputFile joined(rowsPath().string(), true);
    for (const auto& [file, row] : rows_) {
        const std::string line = rowLine(row) + '\n';
        joined.write(line.data(), line.size());
    }
    joined.commit();
    std::error_code ignored;
    bool othersGoOn = false;
    for (const auto& entry : fs::directory_iterator(workPath(), ignored)) {
        const fs::path& each = entry.path();
        if (isRows(each))
            fs::remove(each, ignored);
        else if (!list.empty() && each.extension() == ".list" && each != list)
            othersGoOn = true;
    }
    if (!othersGoOn)
        fs::remove_all(workPath(), ignored);
    else
        fs::remove(list, ignored);
}

std::string fileNameOf(const std::string& id) {
    constexpr std::size_t longest = 200;
    std::string name = id.substr(0, longest);
    while (name.size() < id.size() && !name.empty() &&
           (static_cast<unsigned char>(id[name.size()]) & 0xC0) == 0x80)
        name.pop_back(); // not within a character
    for (char& c : name)
        if (c == '/' || static_cast<unsigned char>(c) < 0x20 || c == 0x7F)
            c = '_';
    if (!name.empty() && name.front() == '.')
        name.front() = '_';
    return name;
}

} // namespace batch
