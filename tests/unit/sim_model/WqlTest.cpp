// WQL parsing and LIKE matching: the grammar corners the monitor and a browsing user can reach.
#include <gtest/gtest.h>

#include "model/WqlLike.h"
#include "model/WqlQuery.h"

namespace qnsim {
namespace {

TEST(WqlParser, SelectListsClassesAndConditions) {
    WqlParseResult all = ParseWql("select * from Win32_Service");
    ASSERT_TRUE(all.query) << all.problem;
    EXPECT_TRUE(all.query->selectAll);
    EXPECT_EQ(all.query->className, "Win32_Service");
    EXPECT_FALSE(all.query->where);

    WqlParseResult projection = ParseWql("SeLeCt Name ,State FROM win32_service WhErE State = 'Running'");
    ASSERT_TRUE(projection.query) << projection.problem;
    EXPECT_FALSE(projection.query->selectAll);
    EXPECT_EQ(projection.query->selectList, (std::vector<std::string>{"Name", "State"}));
    ASSERT_TRUE(projection.query->where);
    EXPECT_EQ(projection.query->where->property, "State");
    EXPECT_EQ(projection.query->where->literal.text, "Running");
}

TEST(WqlParser, PrecedenceNotBeforeAndBeforeOr) {
    WqlParseResult parsed = ParseWql("select * from C where A = 1 or NOT B = 2 and (C = 3 or D = 4)");
    ASSERT_TRUE(parsed.query) << parsed.problem;
    const WqlCondition& root = *parsed.query->where;
    ASSERT_EQ(root.kind, WqlCondition::Kind::Or);
    EXPECT_EQ(root.left->property, "A");
    ASSERT_EQ(root.right->kind, WqlCondition::Kind::And);
    EXPECT_EQ(root.right->left->kind, WqlCondition::Kind::Not);
    EXPECT_EQ(root.right->right->kind, WqlCondition::Kind::Or);
}

TEST(WqlParser, LiteralsAndOperators) {
    WqlParseResult parsed = ParseWql(
        "select * from C where A <> \"x'y\" and B != -5 and C >= 2.5 and D IS NOT NULL and E is null and F = "
        "TRUE "
        "and 10 < G and H like 'a\\'b%'");
    ASSERT_TRUE(parsed.query) << parsed.problem;
    std::vector<const WqlCondition*> leaves;
    std::function<void(const WqlCondition&)> collect = [&](const WqlCondition& node) {
        if (node.kind == WqlCondition::Kind::And) {
            collect(*node.left);
            collect(*node.right);
        } else {
            leaves.push_back(&node);
        }
    };
    collect(*parsed.query->where);
    ASSERT_EQ(leaves.size(), 8u);
    EXPECT_EQ(leaves[0]->op, WqlCondition::Op::NotEqual);
    EXPECT_EQ(leaves[0]->literal.text, "x'y");
    EXPECT_EQ(leaves[1]->literal.text, "-5");
    EXPECT_EQ(leaves[2]->literal.kind, WqlLiteral::Kind::Number);
    EXPECT_EQ(leaves[3]->kind, WqlCondition::Kind::IsNotNull);
    EXPECT_EQ(leaves[4]->kind, WqlCondition::Kind::IsNull);
    EXPECT_EQ(leaves[5]->literal.kind, WqlLiteral::Kind::Boolean);
    EXPECT_EQ(leaves[6]->op, WqlCondition::Op::Greater);  // "10 < G" is "G > 10"
    EXPECT_EQ(leaves[6]->property, "G");
    EXPECT_EQ(leaves[7]->literal.text, "a'b%");
}

TEST(WqlParser, AssociatorsOfTheGroupMemberQuery) {
    WqlParseResult parsed = ParseWql(
        "Associators of {Win32_Group.Domain='PC1',Name='Administrators'} Where AssocClass=Win32_GroupUser "
        "Role=GroupComponent");
    ASSERT_TRUE(parsed.query) << parsed.problem;
    const WqlQuery& query = *parsed.query;
    EXPECT_EQ(query.kind, WqlQuery::Kind::Associators);
    EXPECT_EQ(query.source.className, "Win32_Group");
    ASSERT_EQ(query.source.keys.size(), 2u);
    EXPECT_EQ(query.source.keys[0], (std::pair<std::string, std::string>{"Domain", "PC1"}));
    EXPECT_EQ(query.source.keys[1], (std::pair<std::string, std::string>{"Name", "Administrators"}));
    EXPECT_EQ(query.assocClass, "Win32_GroupUser");
    EXPECT_EQ(query.role, "GroupComponent");
    EXPECT_TRUE(query.resultClass.empty());
}

TEST(WqlParser, RejectsBrokenQueries) {
    for (const char* text :
         {"", "select", "select * Win32_Service", "select * from", "select Name, from C",
          "select * from C where", "select * from C where A =", "select * from C where (A = 1",
          "select * from C where A = 'open", "select * from C where A is 5", "select * from C where A like 5",
          "select * from C extra", "delete from C", "associators of Win32_Group",
          "associators of {C.K='v'} where Bogus=X", "select * from C where A = 1 and",
          "select * from C where A ! 1", "select * from C;"}) {
        WqlParseResult parsed = ParseWql(text);
        EXPECT_FALSE(parsed.query) << text;
        EXPECT_FALSE(parsed.problem.empty()) << text;
    }
}

TEST(WqlParser, DeepNestingIsRefusedNotOverflowed) {
    std::string deep = "select * from C where " + std::string(5000, '(') + "A = 1" + std::string(5000, ')');
    EXPECT_FALSE(ParseWql(deep).query);
}

TEST(WqlLike, WildcardsSetsAndCase) {
    EXPECT_TRUE(WqlLikeMatches("svchost.exe", "SVC%"));
    EXPECT_TRUE(WqlLikeMatches("svchost.exe", "%.EXE"));
    EXPECT_TRUE(WqlLikeMatches("svchost.exe", "%host%"));
    EXPECT_TRUE(WqlLikeMatches("abc", "a_c"));
    EXPECT_FALSE(WqlLikeMatches("abbc", "a_c"));
    EXPECT_TRUE(WqlLikeMatches("", "%"));
    EXPECT_FALSE(WqlLikeMatches("", "_"));
    EXPECT_TRUE(WqlLikeMatches("Disk 1", "Disk [0-3]"));
    EXPECT_FALSE(WqlLikeMatches("Disk 7", "Disk [0-3]"));
    EXPECT_TRUE(WqlLikeMatches("b", "[abc]"));
    EXPECT_TRUE(WqlLikeMatches("B", "[abc]"));
    EXPECT_FALSE(WqlLikeMatches("a", "[^a]"));
    EXPECT_TRUE(WqlLikeMatches("z", "[^a]"));
    EXPECT_TRUE(WqlLikeMatches("50%", "50[%]"));
    EXPECT_TRUE(WqlLikeMatches("aXbXc", "a%b%c"));
    EXPECT_FALSE(WqlLikeMatches("aXbXd", "a%b%c"));
    EXPECT_TRUE(WqlLikeMatches("host\\private$\\orders", "%\\private$\\%"));
}

}  // namespace
}  // namespace qnsim
