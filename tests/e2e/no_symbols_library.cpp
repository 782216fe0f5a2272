// A shared library that loads but offers none of the board library's calls.
extern "C" int q9_not_a_board_library() { return 0; }
