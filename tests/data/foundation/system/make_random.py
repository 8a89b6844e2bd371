#!/usr/bin/python3
# The first draws of the process-wide generator from its start value 1, written
# as java.util.Random's next(32) (same multiplier 0x5DEECE66D, addend 11,
# 48-bit state), which is independent of the pack's formulation.
# Rerun from the repository root:
#   /usr/bin/python3 tests/data/foundation/system/make_random.py > tests/data/foundation/system/random.tsv
MULTIPLIER = 0x5DEECE66D
MASK = (1 << 48) - 1


class JavaRandom:
    def __init__(self, state):
        self.state = state & MASK  # the internal state, unscrambled

    def next(self, bits):
        self.state = (self.state * MULTIPLIER + 0xB) & MASK
        value = self.state >> (48 - bits)
        return value - (1 << bits) if value >= 1 << (bits - 1) else value


generator = JavaRandom(1)
print("draw\tvalue\tstate")
for draw in range(20):
    value = generator.next(32)
    print("%d\t%d\t%d" % (draw, value, generator.state))
