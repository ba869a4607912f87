// WQL parsing and LIKE matching: the grammar corners the monitor and a browsing user can reach.
#include <gtest/gtest.h>

#include "model/WqlLike.h"
#include "model/WqlQuery.h"

namespace qnsim {
namespace {

TEST(WqlParser, PrecedenceLiteralsAndReversedComparisons) {
    WqlParseResult parsed =
        ParseWql("SeLeCt Name ,State FROM C where A = 1 or NOT B = 2 and (C = 3 or D = 4)");
    ASSERT_TRUE(parsed.query) << parsed.problem;
    EXPECT_EQ(parsed.query->selectList, (std::vector<std::string>{"Name", "State"}));
    const WqlCondition& root = *parsed.query->where;
    ASSERT_EQ(root.kind, WqlCondition::Kind::Or);  // NOT binds before AND, AND before OR
    ASSERT_EQ(root.right->kind, WqlCondition::Kind::And);
    EXPECT_EQ(root.right->left->kind, WqlCondition::Kind::Not);
    EXPECT_EQ(root.right->right->kind, WqlCondition::Kind::Or);

    parsed = ParseWql("select * from C where A <> \"x'y\" and 10 < G and H like 'a\\'b%'");
    ASSERT_TRUE(parsed.query) << parsed.problem;
    const WqlCondition& where = *parsed.query->where;
    EXPECT_EQ(where.left->left->literal.text, "x'y");
    EXPECT_EQ(where.left->right->op, WqlCondition::Op::Greater);  // "10 < G" is "G > 10"
    EXPECT_EQ(where.left->right->property, "G");
    EXPECT_EQ(where.right->literal.text, "a'b%");
}

TEST(WqlParser, RejectsBrokenQueriesAndDeepNesting) {
    for (const char* text :
         {"", "select * from", "select Name, from C", "select * from C where (A = 1",
          "select * from C where A = 'open", "select * from C where A is 5", "select * from C extra",
          "associators of {C.K='v'} where Bogus=X", "select * from C;"}) {
        WqlParseResult parsed = ParseWql(text);
        EXPECT_FALSE(parsed.query) << text;
        EXPECT_FALSE(parsed.problem.empty()) << text;
    }
    // Refused, not a stack overflow.
    EXPECT_FALSE(
        ParseWql("select * from C where " + std::string(5000, '(') + "A = 1" + std::string(5000, ')')).query);
}

TEST(WqlLike, WildcardsSetsAndCase) {
    const std::tuple<const char*, const char*, bool> cases[] = {
        {"svchost.exe", "%.EXE", true},
        {"", "%", true},
        {"", "_", false},
        {"Disk 7", "Disk [0-3]", false},
        {"B", "[abc]", true},
        {"a", "[^a]", false},
        {"50%", "50[%]", true},
        {"aXbXd", "a%b%c", false},
        {"host\\private$\\orders", "%\\private$\\%", true},
    };
    for (const auto& [text, pattern, matches] : cases)
        EXPECT_EQ(WqlLikeMatches(text, pattern), matches) << text << " like " << pattern;
}

}  // namespace
}  // namespace qnsim
