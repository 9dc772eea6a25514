// Every operation of every build against its definition, the portable build's.
#include "operations.h"

#include "suite.h"

namespace qx {

#define QX_DECLARE(build, condition)    \
    namespace build {                   \
    extern const Operations operations; \
    }
QX_BUILDS(QX_DECLARE)
QX_OTHER_BUILDS(QX_DECLARE)
#undef QX_DECLARE

}  // namespace qx

namespace {

struct BuildsOperations {
    const char* name;
    const qx::Operations* operations;

    friend void PrintTo(const BuildsOperations& build, std::ostream* out) { *out << build.name; }
};

// Of the builds that this machine runs. Where that is the portable one alone there is nothing to compare.
std::vector<BuildsOperations> builds_operations() {
    std::vector<BuildsOperations> all = {
#define QX_ENTRY(build, condition) {#build, &qx::build::operations},
        QX_BUILDS(QX_ENTRY)
#undef QX_ENTRY
    };
    all.resize(size_t(qx::usable_builds()));
    if (all[0].operations == &qx::portable::operations) all.clear();
    return all;
}

class OperationTest : public testing::TestWithParam<std::tuple<BuildsOperations, int>> {};
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(OperationTest);

// Would catch: an operation that differs from its definition for some bytes, number or length, where no
// kernel shows it or only some line would; one that reads past the end of its lines.
TEST_P(OperationTest, GivesWhatItsDefinitionGives) {
    using qx::kLine;
    const auto& [build, index] = GetParam();
    const qx::Operation &operation = build.operations->row[index],
                        &definition = qx::portable::operations.row[index];
    RandomBytes random;
    GuardedPages a(kLine * 4), b(kLine * 4), mask(kLine), table(256);
    auto filled = [&](GuardedPages& pages, size_t bytes) {
        uint8_t* p = pages.place(bytes, GuardedPages::kUpper, 0);
        random.fill(p, bytes);
        return p;
    };
    const uint32_t rounds = 4 + 100 / (operation.last - operation.first + 1);
    for (uint32_t number = operation.first; number <= operation.last; ++number) {
        for (uint32_t round = 0; round < rounds; ++round) {
            std::vector<Argb32> got(4 * kLine, 0xA5A5A5A5), want(got);
            qx::Operands x = {got.data(),
                              reinterpret_cast<Argb32*>(filled(a, kLine * 4)),
                              reinterpret_cast<Argb32*>(filled(b, kLine * 4)),
                              filled(mask, kLine),
                              filled(table, 256),
                              number};
            operation.run(x);
            x.out = want.data();
            definition.run(x);
            auto at = std::mismatch(got.begin(), got.end(), want.begin());
            ASSERT_TRUE(at.first == got.end()) << std::hex << *at.first << ", not " << *at.second << std::dec
                                               << " at " << at.first - got.begin() << ", number " << number;
        }
    }
}

std::string test_name(const testing::TestParamInfo<OperationTest::ParamType>& info) {
    const auto& [build, index] = info.param;
    return std::string(build.operations->row[index].name) + "_" + build.name;
}
INSTANTIATE_TEST_SUITE_P(All, OperationTest,
                         testing::Combine(testing::ValuesIn(builds_operations()),
                                          testing::Range(0, qx::portable::operations.count)),
                         test_name);

}  // namespace
