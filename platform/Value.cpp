#include "platform/Value.h"

#include <cmath>
#include <variant>

namespace qn::platform {

struct Value::Node {
    struct NumberValue {
        std::int64_t integer = 0;
        double real = 0.0;
        bool isFloat = false;
    };
    std::variant<std::monostate, bool, NumberValue, std::string, Bytes, Array, Dictionary> content;
};

namespace {

const std::shared_ptr<Value::Node>& nullNode() {
    static const auto node = std::make_shared<Value::Node>();
    return node;
}

}  // namespace

Value::Value() : m_node(nullNode()) {}

Value::Value(std::shared_ptr<Node> node) : m_node(std::move(node)) {}

Value Value::boolean(bool value) {
    return value ? kCFBooleanTrue() : kCFBooleanFalse();
}

Value Value::number(std::int64_t value) {
    auto node = std::make_shared<Node>();
    node->content = Node::NumberValue{value, static_cast<double>(value), false};
    return Value(node);
}

Value Value::number(double value) {
    auto node = std::make_shared<Node>();
    // Truncation toward zero, as NSNumber's integer accessors do.
    const auto integer = std::isfinite(value) ? static_cast<std::int64_t>(value) : 0;
    node->content = Node::NumberValue{integer, value, true};
    return Value(node);
}

Value Value::string(std::string value) {
    auto node = std::make_shared<Node>();
    node->content = std::move(value);
    return Value(node);
}

Value Value::data(Bytes value) {
    auto node = std::make_shared<Node>();
    node->content = std::move(value);
    return Value(node);
}

Value Value::array(Array value) {
    auto node = std::make_shared<Node>();
    node->content = std::move(value);
    return Value(node);
}

Value Value::dictionary(Dictionary value) {
    auto node = std::make_shared<Node>();
    node->content = std::move(value);
    return Value(node);
}

Value::Type Value::type() const {
    return static_cast<Type>(m_node->content.index());
}

bool Value::isFloat() const {
    const auto* number = std::get_if<Node::NumberValue>(&m_node->content);
    return number && number->isFloat;
}

bool Value::boolValue() const {
    if (const auto* b = std::get_if<bool>(&m_node->content)) {
        return *b;
    }
    if (const auto* number = std::get_if<Node::NumberValue>(&m_node->content)) {
        return number->isFloat ? number->real != 0.0 : number->integer != 0;
    }
    return false;
}

std::int64_t Value::longLongValue() const {
    if (const auto* b = std::get_if<bool>(&m_node->content)) {
        return *b ? 1 : 0;
    }
    if (const auto* number = std::get_if<Node::NumberValue>(&m_node->content)) {
        return number->integer;
    }
    return 0;
}

std::int32_t Value::intValue() const {
    return static_cast<std::int32_t>(longLongValue());
}

std::uint32_t Value::unsignedIntValue() const {
    return static_cast<std::uint32_t>(longLongValue());
}

double Value::doubleValue() const {
    if (const auto* number = std::get_if<Node::NumberValue>(&m_node->content)) {
        return number->real;
    }
    return static_cast<double>(longLongValue());
}

const std::string& Value::stringValue() const {
    static const std::string empty;
    const auto* s = std::get_if<std::string>(&m_node->content);
    return s ? *s : empty;
}

const Value::Bytes& Value::dataValue() const {
    static const Bytes empty;
    const auto* d = std::get_if<Bytes>(&m_node->content);
    return d ? *d : empty;
}

const Value::Array& Value::arrayValue() const {
    static const Array empty;
    const auto* a = std::get_if<Array>(&m_node->content);
    return a ? *a : empty;
}

const Value::Dictionary& Value::dictionaryValue() const {
    static const Dictionary empty;
    const auto* d = std::get_if<Dictionary>(&m_node->content);
    return d ? *d : empty;
}

Value Value::get(const std::string& key) const {
    const auto& dictionary = dictionaryValue();
    const auto found = dictionary.find(key);
    return found == dictionary.end() ? Value() : found->second;
}

Value::Node& Value::mutableNode(Type type) {
    // Copy on write: other holders of the node keep what they saw.
    if (this->type() != type || m_node.use_count() > 1 || m_node == nullNode()) {
        auto node = std::make_shared<Node>(this->type() == type ? *m_node : Node{});
        if (this->type() != type) {
            if (type == Type::Array) {
                node->content = Array{};
            } else {
                node->content = Dictionary{};
            }
        }
        m_node = std::move(node);
    }
    return *m_node;
}

void Value::set(const std::string& key, Value value) {
    std::get<Dictionary>(mutableNode(Type::Dictionary).content)[key] = std::move(value);
}

void Value::append(Value value) {
    std::get<Array>(mutableNode(Type::Array).content).push_back(std::move(value));
}

std::size_t Value::count() const {
    if (type() == Type::Array) {
        return arrayValue().size();
    }
    if (type() == Type::Dictionary) {
        return dictionaryValue().size();
    }
    return 0;
}

bool Value::operator==(const Value& other) const {
    if (m_node == other.m_node) {
        return true;
    }
    if (type() != other.type()) {
        return false;
    }
    switch (type()) {
        case Type::Null:
            return true;
        case Type::Boolean:
            return boolValue() == other.boolValue();
        case Type::Number:
            return isFloat() || other.isFloat() ? doubleValue() == other.doubleValue()
                                                : longLongValue() == other.longLongValue();
        case Type::String:
            return stringValue() == other.stringValue();
        case Type::Data:
            return dataValue() == other.dataValue();
        case Type::Array:
            return arrayValue() == other.arrayValue();
        case Type::Dictionary:
            return dictionaryValue() == other.dictionaryValue();
    }
    return false;
}

Value Value::makeBoolean(bool value) {
    auto node = std::make_shared<Node>();
    node->content = value;
    return Value(std::move(node));
}

const Value& kCFBooleanTrue() {
    static const Value value = Value::makeBoolean(true);
    return value;
}

const Value& kCFBooleanFalse() {
    static const Value value = Value::makeBoolean(false);
    return value;
}
CFTypeID CFGetTypeID(const Value& value) {
    return static_cast<CFTypeID>(value.type());
}
CFTypeID CFNumberGetTypeID() {
    return static_cast<CFTypeID>(Value::Type::Number);
}
CFTypeID CFStringGetTypeID() {
    return static_cast<CFTypeID>(Value::Type::String);
}
CFTypeID CFBooleanGetTypeID() {
    return static_cast<CFTypeID>(Value::Type::Boolean);
}
CFTypeID CFDictionaryGetTypeID() {
    return static_cast<CFTypeID>(Value::Type::Dictionary);
}
CFTypeID CFArrayGetTypeID() {
    return static_cast<CFTypeID>(Value::Type::Array);
}
CFTypeID CFDataGetTypeID() {
    return static_cast<CFTypeID>(Value::Type::Data);
}

}  // namespace qn::platform
