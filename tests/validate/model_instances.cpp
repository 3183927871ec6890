#include "tests/validate/model_instances.hpp"

namespace nq::test::model {
namespace {

class Maker {
  public:
    explicit Maker(CheckingHost& host) : host_(host), api_(*host.api()), pool_(host.pool()) {}

    InstanceHeader* operator()(std::monostate) { return nullptr; }
    InstanceHeader* operator()(bool v) { return made(api_.createBoolean, v); }
    InstanceHeader* operator()(std::int32_t v) { return made(api_.createInt32, v); }
    InstanceHeader* operator()(std::int64_t v) { return made(api_.createInt64, v); }
    InstanceHeader* operator()(std::uint32_t v) { return made(api_.createUInt32, v); }
    InstanceHeader* operator()(std::uint64_t v) { return made(api_.createUInt64, v); }
    InstanceHeader* operator()(double v) { return made(api_.createDouble, v); }
    InstanceHeader* operator()(Character v) { return made(api_.createNQChar, v.unit); }
    InstanceHeader* operator()(const std::string& v) { return &host_.string(v)->header; }
    InstanceHeader* operator()(const std::u32string& v) { return &host_.text(v)->header; }
    InstanceHeader* operator()(const Other& v) {
        if (v.type_name == "NQData") return made(api_.createSizedData, std::uint64_t{3});
        if (v.type_name == "NQCalendarDateInstance") return made(api_.createCalendarDate);
        if (v.type_name == "NQTimeInstance") return made(api_.createTime);
        if (v.type_name == "NQCalendarDateTimeInstance") return made(api_.createCalendarDateTime);
        return made(api_.createDateTime, 1.0);
    }
    InstanceHeader* operator()(const List& list) {
        NQArray* array = host_.array();
        for (const Value& element : list) host_.add(array, make_instance(host_, element));
        return &array->header;
    }
    InstanceHeader* operator()(const Entries& entries) {
        return &make_dictionary(host_, entries)->header;
    }

  private:
    template <class Create, class... Values>
    InstanceHeader* made(Create create, Values... values) {
        NQStatus status;
        return &create(&api_, pool_, values..., &status)->header;
    }

    CheckingHost& host_;
    InstanceApi& api_;
    HostPool* pool_;
};

}  // namespace

InstanceHeader* make_instance(CheckingHost& host, const Value& value) {
    return std::visit(Maker(host), value.content);
}

NQDictionary* make_dictionary(CheckingHost& host, const Entries& entries) {
    NQDictionary* dictionary = host.dictionary();
    for (std::size_t i = 0; i < entries.keys.size(); ++i) {
        host.set(dictionary, entries.keys[i], make_instance(host, entries.values[i]));
    }
    return dictionary;
}

}  // namespace nq::test::model
