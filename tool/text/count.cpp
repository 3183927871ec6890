#include "tool/text/commands.hpp"
#include "tool/text/session.hpp"

namespace nq::tool {
namespace {

// A text's or a line's size so far.
struct Count {
    uint64_t characters = 0;
    uint64_t bytes = 0;
};

class Counter {
  public:
    explicit Counter(TextSession& session) : session_(session) {}

    ExitStatus count(const std::string& name) {
        TextSource source = session_.open(name, Malformed::kKeep);
        const bool is_by_line = session_.settings().is_by_line;
        Count current;
        uint64_t line = 1;
        do {
            source.refill();
            std::string_view rest = source.text();
            for (std::size_t line_feed; is_by_line && (line_feed = rest.find('\n')) != rest.npos;) {
                add(current, rest.substr(0, line_feed));
                rest.remove_prefix(line_feed + 1);
                print_line(source, current, line);
                current = {};
                ++line;
            }
            add(current, rest);
            session_.flush();
            source.consume(source.text().size());
        } while (!source.is_complete());

        const ExitStatus status = source.finish();  // no count of a text that was cut off
        if (!is_by_line) {
            print(current, source.shown_name());
        } else if (current.bytes != 0) {
            print_line(source, current, line);  // the last one has no line feed
        }
        session_.flush();
        return status;
    }

  private:
    void add(Count& count, std::string_view text) const {
        count.characters += session_.rules().count_characters(bytes_of(text), text.size());
        count.bytes += text.size();
    }

    void print(const Count& count, const std::string& where) const {
        session_.print(std::to_string(count.characters) + " " + std::to_string(count.bytes) + " " +
                       where + "\n");
    }

    void print_line(const TextSource& source, const Count& count, uint64_t line) const {
        print(count, source.shown_name() + ":" + std::to_string(line));
    }

    TextSession& session_;
};

}  // namespace

void run_text_count(Run& run, const TextSettings& settings) {
    TextSession session(run, settings);
    run.for_each_input([&](const std::string& name) { return Counter(session).count(name); });
}

}  // namespace nq::tool
