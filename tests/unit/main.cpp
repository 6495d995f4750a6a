// Entry of the unit tests. The number generator is seeded once in the life of a program, so
// what its first run yields is noted here, whatever test is run afterwards.
#include "support.h"

int main(int argc, char** argv) {
    using namespace tarsimo;
    ::testing::InitGoogleTest(&argc, argv);

    init_engine();
    test::start_up = {zobrist, side_key, hash_key};
    const int result = RUN_ALL_TESTS();
    free_hash_tables();
    return result;
}
