#pragma once
// The one value type for the property-list data that crosses the ports: the session
// dictionary, registry properties, matching dictionaries, notification userInfo and the
// arguments of calls to the Manager.

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace qn::platform {

class Value {
  public:
    enum class Type { Null, Boolean, Number, String, Data, Array, Dictionary };
    using Bytes = std::vector<std::uint8_t>;
    using Array = std::vector<Value>;
    using Dictionary = std::map<std::string, Value>;

    // The null value: an absent object, a missing key, a failed copy.
    Value();

    // Booleans are always one of two shared objects, so that a test of identity against
    // kCFBooleanFalse() tells a boolean false from a number 0 or a copy.
    static Value boolean(bool value);
    static Value number(std::int64_t value);
    static Value number(double value);
    static Value string(std::string value);
    static Value data(Bytes value);
    static Value array(Array value = {});
    static Value dictionary(Dictionary value = {});

    Type type() const;
    bool isNull() const { return type() == Type::Null; }
    bool isBoolean() const { return type() == Type::Boolean; }
    bool isNumber() const { return type() == Type::Number; }
    bool isString() const { return type() == Type::String; }
    bool isDictionary() const { return type() == Type::Dictionary; }
    bool isArray() const { return type() == Type::Array; }
    // For numbers: whether the value was made from a floating-point number.
    bool isFloat() const;

    // Conversions in the manner of NSNumber / CFBoolean: numbers and booleans convert
    // into each other, anything else reads as 0 / false.
    bool boolValue() const;
    std::int32_t intValue() const;
    std::uint32_t unsignedIntValue() const;
    std::int64_t longLongValue() const;
    double doubleValue() const;

    // The text of a string, empty for anything else.
    const std::string& stringValue() const;
    const Bytes& dataValue() const;
    const Array& arrayValue() const;
    const Dictionary& dictionaryValue() const;

    // Dictionary lookup; the null value when the key is absent or this is no dictionary.
    Value get(const std::string& key) const;
    // Dictionary insertion; turns a null value into a dictionary. Copies share nothing
    // that is changed afterwards.
    void set(const std::string& key, Value value);
    // Array append; turns a null value into an array.
    void append(Value value);
    std::size_t count() const;

    // Identity of the underlying object (CFEqual is operator==).
    bool isSameObject(const Value& other) const { return m_node == other.m_node; }
    bool operator==(const Value& other) const;
    bool operator!=(const Value& other) const { return !(*this == other); }

    // Opaque storage; public only so that the implementation's helpers can name it.
    struct Node;

  private:
    friend const Value& kCFBooleanTrue();
    friend const Value& kCFBooleanFalse();
    static Value makeBoolean(bool value);
    explicit Value(std::shared_ptr<Node> node);
    Node& mutableNode(Type type);

    std::shared_ptr<Node> m_node;
};

// The two boolean objects.
const Value& kCFBooleanTrue();
const Value& kCFBooleanFalse();

// Type tests in the host's terms, for code that reads registry properties.
using CFTypeID = unsigned long;
CFTypeID CFGetTypeID(const Value& value);
CFTypeID CFNumberGetTypeID();
CFTypeID CFStringGetTypeID();
CFTypeID CFBooleanGetTypeID();
CFTypeID CFDictionaryGetTypeID();
CFTypeID CFArrayGetTypeID();
CFTypeID CFDataGetTypeID();

}  // namespace qn::platform
