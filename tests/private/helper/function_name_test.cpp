#include <common/log/function_name.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace common::log::test::names {

namespace {

template <std::size_t size>
std::string nameOf(char const (&signature)[size])
{
    return FunctionName(signature).text();
}

struct Spelling
{
    std::string actual;
    std::string expected;
};

/// As compilers spell functions, this one and others.
Spelling const kSpellings[] = {
    {nameOf("main"), "main"},
    {nameOf("static char const * * a::B<int (*)(c), d>::e(f (*)(g), h<i>) const [j = k]"), "a::B::e"},
    {nameOf("void (* a::f(int))(double)"), "a::f"},
    {nameOf("int (a::C::*a::C::f(int))[3]"), "a::C::f"},
    {nameOf("decltype ((a + b)) a::f(A, B) [with A = int; decltype ((a + b)) = int]"), "a::f"},
    {nameOf("<dependent type> a::f(A, B) [A = int]"), "a::f"},
    {nameOf("std::enable_if_t<(sizeof (T) > 2), T> a::f(T) [with T = int]"), "a::f"},
    {nameOf("a::D<int, '>'>::~D()"), "a::D::~D"},
    {nameOf("std::string a::f[abi:cxx11]()"), "a::f"},
    {nameOf("a::{anonymous}::R a::{anonymous}::f()"), "a::{anonymous}::f"},
    {nameOf("(anonymous namespace)::R (anonymous namespace)::H::f()"), "{anonymous}::H::f"},
    {nameOf("void __cdecl a::`anonymous-namespace'::f(void)"), "a::{anonymous}::f"},
    {nameOf("bool a::C::operator bool() const"), "a::C::operator bool"},
    {nameOf("a::C::operator std::vector<int>() const"), "a::C::operator std::vector"},
    {nameOf("const char *a::C::operator const char *() const"), "a::C::operator const char*"},
    {nameOf("int a::C::operator()(int) const"), "a::C::operator()"},
    {nameOf("int __cdecl a::C::operator ()(int) const"), "a::C::operator()"},
    {nameOf("a::C* a::C::operator->()"), "a::C::operator->"},
    {nameOf("bool a::C::operator<(const a::C&) const"), "a::C::operator<"},
    {nameOf("a::C &a::C::operator[](int)"), "a::C::operator[]"},
    {nameOf("static void* a::C::operator new [](std::size_t)"), "a::C::operator new[]"},
    {nameOf("long double a::operator\"\"_km(long double)"), "a::operator\"\"_km"},
    {nameOf("a::D<int>::operator<< <int>(const int&)::<lambda()>"), "a::D::operator<<"},
    {nameOf("int a::operators(int)"), "a::operators"},
    {nameOf("a::C::f()::<lambda(auto:1)>::<lambda()> [with auto:1 = int]"), "a::C::f"},
    {nameOf("auto a::f()::(anonymous class)::operator()(int) const::(anonymous class)::operator()() const"), "a::f"},
    {nameOf("auto a::f(int)::(lambda at x (1).cpp:3:5)::operator()() const"), "a::f"},
    {nameOf("auto __cdecl a::f::<lambda_1>::operator ()(void) const"), "a::f"},
    {nameOf("void a::C::f() const::L::g()"), "a::C::f::L::g"},
    {nameOf("a::<lambda(int)>"), "a"},
    {nameOf("auto (anonymous class)::operator()() const"), "lambda"},
};

TEST(FunctionName, IsFreeOfResultParametersAndTemplateArguments)
{
    for (Spelling const & spelling : kSpellings) {
        EXPECT_EQ(spelling.actual, spelling.expected);
    }
}

TEST(FunctionName, LosesOutermostScopesWhereItIsTooLong)
{
    FunctionName const name("void alpha::beta::gamma::run()");
    EXPECT_STREQ(name.innermost(23), "alpha::beta::gamma::run");
    EXPECT_STREQ(name.innermost(22), "beta::gamma::run");
    EXPECT_STREQ(name.innermost(15), "gamma::run");
    EXPECT_STREQ(name.innermost(2), "run");
}

using Names = std::vector<std::string>;

#define KEEP_OWN_NAME                                                                                                  \
    do {                                                                                                               \
        static constexpr ::common::log::FunctionName ownName(COMMON_LOG_FUNCTION_SIGNATURE);                           \
        names.emplace_back(ownName.text());                                                                            \
    } while (false)

template <typename Value, char character>
struct Pattern
{
    template <typename Other>
    static auto call(Names & names, Other other) -> decltype(other + Value())
    {
        KEEP_OWN_NAME;
        [&names](auto) { KEEP_OWN_NAME; }(character);
        return other;
    }
    explicit operator std::string() const
    {
        KEEP_OWN_NAME;
        return {};
    }
    void operator()(Names (*)(int)) { KEEP_OWN_NAME; }
    Names & names;
};

TEST(FunctionName, OfThisCompilersFunctions)
{
    Names names;
    (void)Pattern<long, '>'>::call(names, 1);
    Pattern<int, '('> pattern{names};
    (void)std::string(pattern);
    pattern(nullptr);
    std::string const scope = "common::log::test::names::{anonymous}::Pattern::";
    EXPECT_EQ(names[0], scope + "call");
    EXPECT_EQ(names[1], scope + "call") << "a lambda in it";
    EXPECT_EQ(names[2].substr(0, scope.size() + 9), scope + "operator ");
    EXPECT_EQ(names[3], scope + "operator()");
}

} // namespace

} // namespace common::log::test::names
