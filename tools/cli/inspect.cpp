// medium-physics inspect FILE: the records of a saved factory stream with their offsets and sizes,
// and where a damaged stream stops loading.
#include <algorithm>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <regex>
#include <string>
#include <system_error>

#include "cli_common.h"
#include "commands.h"
#include "factory/c_medium_physics.h"
#include "file_io/c_file_io/c_file_io.h"

namespace fs = std::filesystem;

namespace mp_cli {

namespace {

// One record of the report split into columns, when its text has the form the factory uses for
// entries: "tag 11 (cache name) GUID" or "kind 10 (display name) GUID".
struct entry_columns {
    std::string code;  // "tag 11", "kind 10"
    std::string name;
    std::string rest;  // the identifier, or what happened to the entry
};

std::optional<entry_columns> split_entry(const std::string& text) {
    static const std::regex entry(R"(^((?:tag|kind) -?[0-9]+) \((.*)\) (\S.*)$)");
    std::smatch m;
    if (!std::regex_match(text, m, entry)) return std::nullopt;
    return entry_columns{m[1].str(), m[2].str(), m[3].str()};
}

int run_inspect(const std::string& path, bool verbose) {
    std::error_code ec;
    if (!fs::is_regular_file(path, ec)) throw command_error("cannot open " + path + ": no such file");
    const std::uint64_t total = fs::file_size(path, ec);
    if (ec) throw command_error("cannot read " + path + ": " + ec.message());

    load_report report;
    std::int32_t status = MP_STATUS_FAILURE;
    std::uint64_t end_of_record = 0;
    {
        captured_log log(verbose);
        C_file_io stream;
        try {
            stream.open(CHostString::from_utf8(path), CHostString(u"rb"));
        } catch (const std::exception& e) {
            throw command_error("cannot open " + path + ": " + e.what());
        }
        status = inspect_factory_stream(stream, std::make_shared<standalone_host::CStandaloneHost>(), report);
        if (status == MP_STATUS_OK) {
            try {
                end_of_record = stream.tell();
            } catch (const std::exception&) {
                end_of_record = total;
            }
        }
    }
    const bool failed = status != MP_STATUS_OK || report.failed;

    std::cout << path << ": " << total << " bytes, a saved factory stream\n\n";

    // Where each record ends: the next record's start, or the end of the factory record, or the
    // start of the record that failed.
    const std::uint64_t last_end = failed ? report.failure_offset : end_of_record;
    std::size_t offset_width = std::max<std::size_t>(6, std::to_string(std::max(total, last_end)).size());
    std::size_t code_width = 0, name_width = 0;
    for (const auto& item : report.items)
        if (const auto e = split_entry(item.text)) {
            code_width = std::max(code_width, e->code.size());
            name_width = std::max(name_width, e->name.size());
        }

    if (report.items.empty())
        std::cout << "no record could be read\n";
    else
        std::cout << pad_left("offset", offset_width) << "  " << pad_left("size", offset_width) << "  record\n";
    std::size_t substances = 0, media = 0;
    for (std::size_t i = 0; i < report.items.size(); ++i) {
        const auto& item = report.items[i];
        const std::uint64_t end = i + 1 < report.items.size() ? report.items[i + 1].offset : last_end;
        const std::string size = end >= item.offset ? std::to_string(end - item.offset) : "?";
        std::cout << pad_left(std::to_string(item.offset), offset_width) << "  " << pad_left(size, offset_width) << "  "
                  << std::string(2 * static_cast<std::size_t>(std::max(item.depth, 0)), ' ');
        if (const auto e = split_entry(item.text)) {
            std::cout << pad(e->code, code_width) << "  " << pad(e->name, name_width) << "  " << e->rest << "\n";
            if (e->rest != "skipped" && e->code.rfind("tag", 0) == 0) ++substances;
            if (e->code.rfind("kind", 0) == 0) ++media;
        } else {
            std::cout << item.text << "\n";
        }
    }

    if (failed) {
        std::cout << "\nerror: the record at offset " << report.failure_offset << " does not load: "
                  << (report.failure_reason.empty() ? std::string("no reason given") : report.failure_reason) << "\n"
                  << "       reading stopped at stream position " << report.stream_position << " of " << total
                  << " bytes\n";
        return kExitFailure;
    }
    std::cout << pad_left(std::to_string(end_of_record), offset_width) << "  " << std::string(offset_width, ' ')
              << "  end of the factory record\n\n";
    std::cout << "total: " << total << " bytes; loads with " << substances
              << (substances == 1 ? " substance" : " substances") << " and " << media
              << (media == 1 ? " medium" : " media") << "\n";
    std::cout << "(offsets and sizes in bytes; tag: the substance cache an entry belongs to; kind: the medium "
                 "kind code, see 'medium-physics info')\n";
    if (end_of_record < total)
        std::cout << "note: " << (total - end_of_record)
                  << " bytes after the end of the factory record are not part of it\n";
    return kExitOk;
}

}  // namespace

command register_inspect(CLI::App& app, shared_options& shared) {
    auto input = std::make_shared<std::string>();
    auto* inspect = app.add_subcommand("inspect", "Show the records of a saved factory stream, with their offsets");
    inspect->add_option("FILE", *input, "Saved factory stream")->required();
    return {inspect, [input, &shared] { return run_inspect(*input, shared.verbose); }};
}

}  // namespace mp_cli
