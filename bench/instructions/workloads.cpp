// Ten fixed pieces of work for a library given by its path; count.py counts the instructions of
// one.
//
//     workloads                    their names
//     workloads LIBRARY WORKLOAD
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "bench/loaded_library.hpp"
#include "bench/measure.hpp"
#include "bench/sample_texts.hpp"
#include "nqinstance/datefmt/dates.h"
#include "nqinstance/text/case_mapping.h"
#include "nqinstance/text/compare.h"
#include "nqinstance/text/utf.h"
#include "nqinstance/text/utf8.h"

// Valgrind collects what this function does, and nothing before and after.
extern "C" [[gnu::noinline]] void nq_counted(const std::function<void()>& work) { work(); }

namespace nq::bench {
namespace {

constexpr std::size_t kTextBytes = std::size_t{16} << 10;

#define NQ_OF(setting, name) (reinterpret_cast<decltype(&::name)>(exported((setting).host, #name)))

void* exported(const Host& host, const char* name) {
    void* found = host.symbol(name);
    require(found, name);
    return found;
}

struct Setting {
    Host host;
    HostPool* pool = nullptr;  // ends with the host
    InstanceApi* api = nullptr;

    NQDictionary* parsed(const std::string& json) {
        auto parser = extension<NQInstJsonApi>(host);
        const std::uint8_t options[6] = {};
        InstanceHeader* root = nullptr;
        std::uint32_t line;
        std::uint32_t column;
        const NQStatus status =
            parser->parse(parser.get(), pool, reinterpret_cast<const std::uint8_t*>(json.data()),
                          json.size(), options, &root, &line, &column);
        require(status == NQ_STATUS_OK, "the JSON text cannot be read");
        return reinterpret_cast<NQDictionary*>(root);
    }
};

std::string text_of_all_samples() {
    std::string all;
    for (const Sample& sample : sample_texts(kTextBytes)) all += sample.bytes;
    return all;
}

const std::uint8_t* bytes_of(const std::string& text) {
    return reinterpret_cast<const std::uint8_t*>(text.data());
}
std::uint8_t* bytes_of(std::string& text) { return reinterpret_cast<std::uint8_t*>(text.data()); }

using Work = std::function<void()>;

Work json(Setting& in) {
    std::string text = "{";
    for (int i = 0; i < 200; ++i) {
        const std::string number = std::to_string(i);
        text += (i ? ",\"key " : "\"key ") + number +
                R"(": {"text": "a \"value\" of\tletters é 中", )" + R"("list": [)" + number +
                R"(, -1.5, true, null, [], {}], "nested": {"a": {"b": "c"}}})";
    }
    return [&in, root = in.parsed(text + "}")] {
        auto strings = extension<NQStringApi>(in.host);
        Held<NQU8String> indented;
        Held<NQU8String> compact;
        keep(in.api->toJSON(in.api, in.pool, &root->header, indented.out()));
        keep(in.api->toJSON2(in.api, strings.get(), in.pool, 0, 0, &root->header, compact.out()));
        require(compact.get() && indented->length > compact->length, "the tree is not written");
    };
}

Work configuration(Setting& in) {
    std::string text;
    for (int i = 0; text.size() < 100 << 10; ++i) {
        const std::string number = std::to_string(i);
        if (i % 50 == 0) text += "[section " + number + "]\n# about the section\n";
        text += i % 10 == 9 ? "block" + number + " =\n  inner = 1\n  other = two words\n"
                            : "key" + number + " = a value of ordinary length\n";
    }
    in.host.add_memory_file("fixed.conf", text);
    return [&in] {
        Held<NQDictionary> root;
        std::int32_t line = 0;
        in.api->readConfiguration(in.api, in.pool, "fixed.conf", &line, root.out());
        require(static_cast<bool>(root), "the configuration is not read");
    };
}

Work scalars(Setting& in) {
    return [&in] {
        const auto pass = [&](auto* instance) {
            InstanceHeader& header = instance->header;
            Held<InstanceHeader> clone;
            require(header.clone(&header, in.pool, 0, clone.out()) == NQ_STATUS_OK, "no clone");
            header.release(instance);
            clone->release(clone.take());
        };
        NQStatus status;
        for (int i = 0; i < 1000; ++i) {
            pass(in.api->createBoolean(in.api, in.pool, 1, &status));
            pass(in.api->createInt32(in.api, in.pool, i, &status));
            pass(in.api->createInt64(in.api, in.pool, i, &status));
            pass(in.api->createUInt32(in.api, in.pool, 7, &status));
            pass(in.api->createUInt64(in.api, in.pool, 7, &status));
            pass(in.api->createDouble(in.api, in.pool, i, &status));
        }
    };
}

Work validation(Setting& in) {
    NQDictionary* definition = in.parsed(
        R"({"dataType": "integer", "min": 1, "max": 65535, "values": [22, 80, 443, 8443]})");
    std::vector<InstanceHeader*> values;
    for (const std::int64_t value : {22, 8443, 8444, 0, 65536}) {
        NQStatus status;
        values.push_back(&in.api->createInt64(in.api, in.pool, value, &status)->header);
    }
    return [&in, definition, values] {
        std::size_t valid = 0;
        for (int i = 0; i < 500; ++i) {
            for (InstanceHeader* value : values) {
                std::uint32_t verdict = 1;
                keep(in.api->validateData(value, definition, &verdict, nullptr));
                valid += verdict == 0;
            }
        }
        require(valid == 1000, "other values are valid");
    };
}

Work conversion(Setting& in) {
    const auto to_utf32 = NQ_OF(in, ConvertToUTF32);
    const auto from_utf32 = NQ_OF(in, ConvertFromUTF32);
    const auto read_utf8 = NQ_OF(in, UTF8_UTF32);
    const auto write_utf8 = NQ_OF(in, UTF32_UTF8);
    const auto write_unit = NQ_OF(in, COPY_UTF32_SWAP);
    const auto read_unit = NQ_OF(in, COPY_UTF32b_SWAP);
    return [=, text = text_of_all_samples()] {
        std::string units(4 * text.size(), '\0');
        std::string back(text.size(), '\0');
        std::uint64_t bytes = 0;
        to_utf32(bytes_of(text), text.size(), bytes_of(units), units.size(), &bytes, read_utf8,
                 write_unit);
        from_utf32(bytes_of(units), bytes, bytes_of(back), back.size(), &bytes, write_utf8,
                   read_unit);
        require(back == text, "the text is another");
    };
}

Work case_mapping(Setting& in) {
    const auto upper = NQ_OF(in, nqzsu8Upper2);
    const auto lower = NQ_OF(in, nqzsu8Lower2);
    return [=, text = text_of_all_samples()] {
        std::string target(2 * text.size(), '\0');
        for (const auto map : {upper, lower}) {
            std::uint64_t written = 0;
            map(bytes_of(text), text.size(), bytes_of(target), target.size(), &written);
            require(written > text.size() / 2, "the text is not mapped");
        }
    };
}

Work comparison(Setting& in) {
    const auto order = NQ_OF(in, nqzsu8NormCompare);
    const auto are_equal = NQ_OF(in, nqzsu8NormEqual);
    std::string text = text_of_all_samples();
    std::string upper(2 * text.size(), '\0');
    std::uint64_t written = 0;
    NQ_OF(in, nqzsu8Upper2)
    (bytes_of(text), text.size(), bytes_of(upper), upper.size(), &written);
    upper.resize(written);
    return [=] {
        keep(order(bytes_of(text), text.size(), bytes_of(upper), upper.size()));
        keep(are_equal(bytes_of(text), text.size(), bytes_of(upper), upper.size()));
        // Short ones, as keys are.
        for (std::size_t i = 0; i < 1000; ++i) {
            keep(order(bytes_of(text) + i, 20, bytes_of(upper) + i, 20));
        }
    };
}

Work dates(Setting& in) {
    const auto split_date = NQ_OF(in, nqzdmdy);
    const auto split_time = NQ_OF(in, nqzdhms);
    NQStatus status;
    NQCalendarDateTime* date = in.api->createCalendarDateTime(in.api, in.pool, &status);
    return [=] {
        std::int32_t fields[7];
        for (int i = 0; i < 2000; ++i) {
            const double time = i * 86400.0 * 37 + i;
            split_date(time, &fields[0], &fields[1], &fields[2], &fields[3]);
            split_time(time, &fields[4], &fields[5], &fields[6]);
            date->month = fields[0];
            date->day = fields[1];
            date->year = fields[2];
            keep(fields[4] + static_cast<int>(date->getDate(date) / 86400));
        }
    };
}

Work search(Setting& in) {
    const auto index_of = NQ_OF(in, nqzsu8IndexText);
    return [=, text = text_of_all_samples()] {
        for (const std::string needle :
             {"locomotive", "the", "светофор", "=", "\U0001F600\U0001F600"}) {
            keep(index_of(bytes_of(text), text.size(), bytes_of(needle), needle.size(), 20));
        }
    };
}

Work data(Setting& in) {
    return [&in, bytes = text_of_all_samples()] {
        for (std::size_t size = 0; size < 300; ++size) {
            NQStatus status;
            Held<NQData> data(
                in.api->createData(in.api, in.pool, bytes.data(), size, 1, 1, &status));
            Held<InstanceHeader> clone;
            data->header.clone(&data->header, in.pool, 0, clone.out());
            Held<NQU8String> json;
            in.api->toJSON(in.api, in.pool, clone.get(), json.out());
            require(json && json->length > size, "the data is not written");
        }
    };
}

struct Workload {
    std::string_view name;
    Work (*prepare)(Setting&);
};

constexpr Workload kWorkloads[] = {
    {"json", json},
    {"configuration", configuration},
    {"scalars", scalars},
    {"validation", validation},
    {"conversion", conversion},
    {"case_mapping", case_mapping},
    {"comparison", comparison},
    {"dates", dates},
    {"search", search},
    {"data", data},
};

void run(const char* library, std::string_view name) {
    for (const Workload& workload : kWorkloads) {
        if (workload.name != name) continue;
        Setting setting;
        std::string error;
        const bool is_loaded = setting.host.load(library, error);
        require(is_loaded, error.c_str());
        setting.pool = setting.host.make_pool("workload");
        setting.api = setting.host.api();
        const Work work = workload.prepare(setting);
        work();  // what is chosen or bound by the first call is not counted
        nq_counted(work);
        return;
    }
    require(false, "there is no workload of that name");
}

}  // namespace
}  // namespace nq::bench

int main(int argc, char** argv) {
    if (argc == 3) {
        nq::bench::run(argv[1], argv[2]);
    } else {
        for (const auto& workload : nq::bench::kWorkloads) std::puts(workload.name.data());
    }
}
