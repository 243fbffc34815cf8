# Shared by the scripts of the tests: source it.

little_endian() { # VALUE BYTES
    local value=$1 i
    for ((i = 0; i < $2; ++i)); do printf "\\x$(printf %02x $((value >> 8 * i & 255)))"; done
}

wav_head() { # FRAMES: the head of a WAV file of so many frames, 8 kHz, 16 bits, mono
    printf RIFF && little_endian $((36 + 2 * $1)) 4 && printf 'WAVEfmt ' && little_endian 16 4
    little_endian 1 2 && little_endian 1 2 && little_endian 8000 4 && little_endian 16000 4
    little_endian 2 2 && little_endian 16 2 && printf data && little_endian $((2 * $1)) 4
}
