#include "xml/ElementIndex.h"

#include <gtest/gtest.h>

#include <vector>

namespace
{

class ElementIndexTest : public testing::Test
{
protected:
    ElementIndexTest() { m_index.Reset(0); }

    std::uint32_t AddLast(std::uint32_t parent)
    {
        ElementRecord record = {};
        record.parent = parent;
        const auto number = m_index.Add(record);
        m_index.LinkLast(m_index[parent].firstChild, number);
        return number;
    }

    // The children forward; backward they must be the same.
    std::vector<std::uint32_t> Children(std::uint32_t parent) const
    {
        std::vector<std::uint32_t> forward;
        for (auto n = m_index[parent].firstChild; n; n = m_index[n].next)
            forward.push_back(n);
        std::vector<std::uint32_t> backward;
        for (auto n = m_index.LastChild(parent); n; n = m_index.Previous(n))
            backward.insert(backward.begin(), n);
        EXPECT_EQ(forward, backward);
        return forward;
    }

    ElementIndex m_index;
};

using Numbers = std::vector<std::uint32_t>;

TEST_F(ElementIndexTest, BeginsWithTheDocumentAlone)
{
    EXPECT_EQ(m_index.Count(), 1u);
    EXPECT_EQ(Children(0), Numbers{});
}

TEST_F(ElementIndexTest, LinksLastAndAfterInOrder)
{
    const auto a = AddLast(0);
    const auto b = AddLast(0);
    const auto c = m_index.Add({});
    m_index.LinkAfter(a, c);
    EXPECT_EQ(Children(0), (Numbers{a, c, b}));
    const auto d = m_index.Add({});
    m_index.LinkAfter(b, d);
    EXPECT_EQ(Children(0), (Numbers{a, c, b, d}));
    EXPECT_EQ(AddLast(0), 5u);
    EXPECT_EQ(Children(0), (Numbers{a, c, b, d, 5}));
}

TEST_F(ElementIndexTest, UnlinksFirstMiddleLastAndOnly)
{
    const auto a = AddLast(0);
    const auto b = AddLast(0);
    const auto c = AddLast(0);
    const auto d = AddLast(0);
    m_index.Unlink(b);
    EXPECT_EQ(Children(0), (Numbers{a, c, d}));
    m_index.Unlink(d);
    EXPECT_EQ(Children(0), (Numbers{a, c}));
    m_index.Unlink(a);
    EXPECT_EQ(Children(0), Numbers{c});
    m_index.Unlink(c);
    EXPECT_EQ(Children(0), Numbers{});
    EXPECT_EQ(AddLast(0), 5u);
    EXPECT_EQ(Children(0), Numbers{5});
}

TEST_F(ElementIndexTest, GrowingMovesNoRecord)
{
    const ElementRecord* first = &m_index[AddLast(0)];
    for (int i = 0; i < 200000; ++i)
        AddLast(1);
    EXPECT_EQ(first, &m_index[1]);
    EXPECT_EQ(m_index.Count(), 200002u);
    EXPECT_EQ(m_index[200001].parent, 1u);
    EXPECT_EQ(m_index[200001].previous, 200000u);
    EXPECT_EQ(m_index.LastChild(1), 200001u);
}

TEST_F(ElementIndexTest, ResetForgetsEverything)
{
    AddLast(0);
    m_index.Reset(std::size_t(1) << 24);
    EXPECT_EQ(m_index.Count(), 1u);
    EXPECT_EQ(Children(0), Numbers{});
}

} // namespace
