// A stand-in for the four functions of the mathematics library that the library calls.
//
// Mathematics libraries agree on + - * / and sqrt to the last bit, but not on sine and its like. The linker sends the
// library's calls (--wrap) to functions made of those operations, so that everything the library computes around them
// can be compared bit for bit; or on to the machine's own functions, to see what depends on them.
#pragma once

// The stand-in while true, the machine's functions while false.
extern bool own_trigonometry;
