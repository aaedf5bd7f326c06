"""Bytes as the UART signal that carries them: one sample a byte, bit 0 is the line."""


def waveform(data, samples_per_bit=4, idle_bits=20):
    """8N1, least significant bit first, with an idle line before and after."""
    idle = b"\x01" * (idle_bits * samples_per_bit)
    frames = [b"".join(bytes([bit]) * samples_per_bit
                       for bit in [0, *((value >> place) & 1 for place in range(8)), 1])
              for value in range(256)]
    return idle + b"".join(frames[value] for value in data) + idle
