#include "tests/shipped/documents/ShippedModel.h"

#include <algorithm>

namespace documents {
namespace {

const char* const kDiversities[] = {"styleDiversity/StyleDiversity.xml", "styleDiversity/StyleDiversity_dome.xml"};

std::vector<TiXmlElement*> rulesOf(TiXmlDocument& document)
{
    std::vector<TiXmlElement*> rules;
    for (TiXmlElement* rule = document.FirstChildElement(); rule != nullptr; rule = rule->NextSiblingElement())
    {
        rules.push_back(rule);
    }
    return rules;
}

// The models whose merged style differs between the shipped rules and these.
std::set<std::string> changedModels(const std::string& diversity, const std::string& rules)
{
    std::set<std::string> changed;
    for (const Model& model : kModels)
    {
        if (diversity == model.diversity && mergedWith(model, rules) != merged(model))
        {
            changed.insert(model.name);
        }
    }
    return changed;
}

class Rules : public testing::TestWithParam<const char*>
{
protected:
    void SetUp() override { text_ = readShared(GetParam()); }

    // The models that change when edit did its work on rule number index.
    std::set<std::string> changedBy(std::size_t index, const std::function<void(TiXmlElement&)>& edit) const
    {
        const auto document = parse(text_);
        edit(*rulesOf(*document).at(index));
        return changedModels(GetParam(), printed(*document));
    }

    std::size_t count() const { return rulesOf(*parse(text_)).size(); }

    std::string text_;
};

TEST_P(Rules, ChangeSomeModelEach)
{
    for (std::size_t i = 0; i < count(); ++i)
    {
        const auto changed = changedBy(i, [](TiXmlElement& rule) { rule.Parent()->RemoveChild(&rule); });
        EXPECT_FALSE(changed.empty()) << "rule " << i;
    }
}

TEST_P(Rules, ChangeSomeModelWithEveryOperation)
{
    const auto document = parse(text_);
    const auto rules = rulesOf(*document);
    for (std::size_t i = 0; i < rules.size(); ++i)
    {
        int operation = 0;
        for (const TiXmlElement* o = rules[i]->FirstChildElement(); o; o = o->NextSiblingElement(), ++operation)
        {
            const auto changed = changedBy(i, [operation](TiXmlElement& rule) {
                TiXmlElement* gone = rule.FirstChildElement();
                for (int skip = 0; skip < operation; ++skip)
                {
                    gone = gone->NextSiblingElement();
                }
                gone->SetValue("Nothing");
            });
            EXPECT_FALSE(changed.empty()) << "rule " << i << " operation " << operation;
        }
        EXPECT_GT(operation, 0) << "rule " << i;
    }
}

TEST_P(Rules, NeedEveryOneOfTheirConditions)
{
    const auto document = parse(text_);
    const auto rules = rulesOf(*document);
    for (std::size_t i = 0; i < rules.size(); ++i)
    {
        ASSERT_NE(rules[i]->FirstAttribute(), nullptr) << "rule " << i << " never applies";
        for (const TiXmlAttribute* a = rules[i]->FirstAttribute(); a; a = a->Next())
        {
            const std::string name = a->Name();
            const auto changed = changedBy(i, [&name](TiXmlElement& rule) { rule.RemoveAttribute(name.c_str()); });
            EXPECT_FALSE(changed.empty()) << "rule " << i << " " << name;
        }
    }
}

TEST_P(Rules, CarryOutKnownOperationsOnANamedTab)
{
    const auto document = parse(text_);
    for (const TiXmlElement* rule : rulesOf(*document))
    {
        for (const TiXmlElement* o = rule->FirstChildElement(); o; o = o->NextSiblingElement())
        {
            const std::string operation = o->Value();
            const std::string target = attribute(*o, "tab_key");
            const TiXmlElement* tab = o->FirstChildElement();
            EXPECT_NE(target, "");
            ASSERT_EQ(tab == nullptr, operation == "Delete") << operation << " " << target;
            if (operation == "Modify")
            {
                EXPECT_EQ(attribute(*tab, "key"), target) << "later rules would not find the tab";
            }
            else if (operation != "Delete")
            {
                EXPECT_EQ(operation, "AddAfter");
                EXPECT_NE(attribute(*tab, "key"), "");
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Shipped, Rules, testing::ValuesIn(kDiversities), [](const auto& instance) {
    return std::string(instance.param).find("dome") == std::string::npos ? "Ordinary" : "Dome";
});

TEST(Diversity, HasSixRulesAndMoreWithAllOperationsOnSeveralFields)
{
    std::size_t count = 0;
    std::set<std::string> operations;
    std::set<std::string> fields;
    bool alternatives = false;
    for (const char* name : kDiversities)
    {
        const auto document = parse(readShared(name));
        for (const TiXmlElement* rule : rulesOf(*document))
        {
            ++count;
            for (const TiXmlElement* o = rule->FirstChildElement(); o; o = o->NextSiblingElement())
            {
                operations.insert(o->Value());
            }
            for (const TiXmlAttribute* a = rule->FirstAttribute(); a; a = a->Next())
            {
                fields.insert(a->Name());
                alternatives = alternatives || a != rule->FirstAttribute();
            }
        }
    }
    EXPECT_GE(count, 6u);
    EXPECT_EQ(operations, (std::set<std::string>{"AddAfter", "Delete", "Modify"}));
    EXPECT_GE(fields.size(), 3u);
    EXPECT_TRUE(alternatives);
}

TEST(Diversity, HasARuleThatChangesSeveralModels)
{
    const auto document = parse(readShared(kDiversities[0]));
    std::size_t most = 0;
    for (std::size_t i = 0; i < rulesOf(*document).size(); ++i)
    {
        const auto without = parse(readShared(kDiversities[0]));
        without->RemoveChild(rulesOf(*without)[i]);
        most = std::max(most, changedModels(kDiversities[0], printed(*without)).size());
    }
    EXPECT_GE(most, 2u);
}

TEST(Diversity, MakesThreeDifferentModelsOfOneStyle)
{
    EXPECT_NE(merged(kModels[0]), merged(kModels[2]));
    EXPECT_NE(merged(kModels[0]), merged(kModels[3]));
    EXPECT_NE(merged(kModels[2]), merged(kModels[3]));
}

// An exposure mode that leaves the iris to the user needs one.
TEST(Diversity, OffersIrisPriorityExactlyWhereThereIsAnIris)
{
    for (const Model& model : kModels)
    {
        bool iris = false;
        bool priority = false;
        const auto style = parse(merged(model));
        walk(*style, [&](const TiXmlElement& element) {
            iris = iris || attribute(element, "id") == "83";
            priority = priority || attribute(element, "text") == "mode_iris_priority";
        });
        EXPECT_EQ(iris, priority) << model.name;
        walk(*style, [&](const TiXmlElement& element) {
            for (const std::string& condition : split(attribute(element, "when"), ';'))
            {
                const std::string modes = condition.substr(0, 3) == "16=" ? condition.substr(3) : "";
                const auto values = split(modes, ',');
                EXPECT_TRUE(iris || std::count(values.begin(), values.end(), "2") == 0)
                    << model.name << " " << attribute(element, "text");
            }
        });
    }
}

}  // namespace
}  // namespace documents
