#include "companions/indexdb/IndexConnection.h"

#include "tests/companions/IndexTest.h"

namespace
{

class KeptStatements : public CompanionTest
{
protected:
    KeptStatements()
    {
        connection.Open(temp.Path(L"plain.db"), IndexConnection::Access::Create, 1);
        connection.Execute("CREATE TABLE numbers(number)");
    }

    IndexConnection connection;
};

TEST_F(KeptStatements, OneThatFoundTheDatabaseLockedHoldsNobodyUpAfterwards)
{
    RawDatabase other(temp.Path(L"plain.db"));
    IndexStatement kept;
    ASSERT_EQ(other.Run("BEGIN EXCLUSIVE"), "");
    EXPECT_THROW(connection.ExecutePrepared(kept, "SELECT number FROM numbers"), IndexError);
    ASSERT_EQ(other.Run("COMMIT"), "");
    EXPECT_EQ(connection.Number("SELECT count(*) FROM numbers"), 0);
    EXPECT_EQ(other.Run("INSERT INTO numbers VALUES(1)"), "");
    EXPECT_EQ(connection.Number("SELECT count(*) FROM numbers"), 1);
}

} // namespace
