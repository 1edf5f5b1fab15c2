#include <common/log/function_name.h>

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// The name of the function in which it stands.
#define OWN_NAME ::common::log::FunctionName(COMMON_LOG_FUNCTION_SIGNATURE).text()

namespace common::log::test::names {

// Each function below keeps its name here and gives it where its result type can hold it.
std::string g_name;
using Table = std::map<int, std::vector<std::pair<std::string, void (*)(int)>>>;

} // namespace common::log::test::names

void functionOfNoNamespace(unsigned int) { common::log::test::names::g_name = OWN_NAME; }

namespace common::log::test::names {

void takesFunctions(Table const &, char const * (*)(double)) { g_name = OWN_NAME; }
std::string returnsText() { return g_name = OWN_NAME; }
char const * returnsPointer() { return (g_name = OWN_NAME).c_str(); }
Table const & returnsReference(Table const & table) { return g_name = OWN_NAME, table; }
void (*returnsFunctionPointer(int))(double) { return g_name = OWN_NAME, nullptr; }
void holdsLambda()
{
    [](int) { g_name = OWN_NAME; }(1);
}

template <typename Value>
Value returnsItsParameter(Value value)
{
    return g_name = OWN_NAME, value;
}

struct Member
{
    Member() { g_name = OWN_NAME; }
    Member(Member const &) = delete;
    Member & operator=(Member const &) = delete;
    virtual ~Member() { g_name = OWN_NAME; }
    virtual void constant(char const *, ...) const noexcept { g_name = OWN_NAME; }
    static std::string & ofClass(void (*)(int)) { return g_name = OWN_NAME; }
    struct Nested
    {
        static void call() { g_name = OWN_NAME; }
    };
};

template <typename Value, int number>
struct Pattern
{
    explicit Pattern(Value) { g_name = OWN_NAME; }
    Pattern(Pattern const &) = delete;
    Pattern & operator=(Pattern const &) = delete;
    ~Pattern() { g_name = OWN_NAME; }
    template <typename Other>
    Other const * member(Other const & other, Value) const
    {
        return g_name = OWN_NAME, &other;
    }
};

namespace {

struct Hidden
{
    static void call() { g_name = OWN_NAME; }
};

/// The name that `call` keeps.
template <typename Call>
std::string nameOf(Call call)
{
    call();
    return g_name;
}

std::string const kScope = "common::log::test::names::";

TEST(FunctionName, IsMadeByTheCompiler)
{
    static constexpr FunctionName name("static char const * * a::B<int (*)(c), d>::e(f (*)(g), h<i>) const [j = k]");
    static_assert(std::string_view(name.text()) == "a::B::e");
}

TEST(FunctionName, OfAFreeFunctionHasNamespacesAndNothingBeside)
{
    EXPECT_EQ(nameOf([] { functionOfNoNamespace(0); }), "functionOfNoNamespace");
    EXPECT_EQ(nameOf([] { takesFunctions({}, nullptr); }), kScope + "takesFunctions");
    EXPECT_EQ(returnsText(), kScope + "returnsText");
    EXPECT_EQ(returnsPointer(), kScope + "returnsPointer");
    EXPECT_EQ(nameOf([] { (void)returnsReference({}); }), kScope + "returnsReference");
    EXPECT_EQ(nameOf([] { (void)returnsFunctionPointer(0); }), kScope + "returnsFunctionPointer");
    EXPECT_EQ(nameOf([] { (void)returnsItsParameter(Table()); }), kScope + "returnsItsParameter");
    EXPECT_EQ(nameOf(holdsLambda), kScope + "holdsLambda");
}

TEST(FunctionName, OfAMemberHasItsClassWithoutTemplateArguments)
{
    {
        Member const member;
        EXPECT_EQ(g_name, kScope + "Member::Member");
        EXPECT_EQ(nameOf([&] { member.constant(""); }), kScope + "Member::constant");
        EXPECT_EQ(Member::ofClass(nullptr), kScope + "Member::ofClass");
        EXPECT_EQ(nameOf(Member::Nested::call), kScope + "Member::Nested::call");
    }
    EXPECT_EQ(g_name, kScope + "Member::~Member");
    {
        Pattern<void (*)(Table const &), 3> const pattern(nullptr);
        EXPECT_EQ(g_name, kScope + "Pattern::Pattern");
        EXPECT_EQ(nameOf([&] { (void)pattern.member('a', nullptr); }), kScope + "Pattern::member");
    }
    EXPECT_EQ(g_name, kScope + "Pattern::~Pattern");
}

TEST(FunctionName, InAnUnnamedNamespaceSaysSoInTheWordsOfTheCompiler)
{
    std::string const name = nameOf(Hidden::call);
    EXPECT_TRUE(name == kScope + "{anonymous}::Hidden::call" || name == kScope + "(anonymous namespace)::Hidden::call")
        << name;
}

} // namespace

} // namespace common::log::test::names
