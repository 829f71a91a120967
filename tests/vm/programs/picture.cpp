// vm-picture WIDTH HEIGHT: reads pictures in YUYV from standard input until it ends, and prints of each, a line each:
//   y MEAN spread DEVIATION colour MEAN left MEAN right MEAN top MEAN bottom MEAN
// brightness and its standard deviation, distance of the colour from grey, and brightness of the halves.

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

constexpr int kGreatestSide = 4096;

class Mean
{
public:
    void add(double value)
    {
        sum_ += value;
        ++count_;
    }

    double value() const { return sum_ / count_; }

private:
    double sum_ = 0;
    double count_ = 0;
};

void measure(const std::vector<unsigned char>& picture, int width, int height)
{
    Mean all, squares, colour, left, right, top, bottom;
    std::size_t at = 0;
    for (int line = 0; line < height; ++line)
    {
        for (int column = 0; column < width; ++column, at += 2)
        {
            const double shade = picture[at];
            all.add(shade);
            squares.add(shade * shade);
            (column < width / 2 ? left : right).add(shade);
            (line < height / 2 ? top : bottom).add(shade);
            colour.add(std::abs(picture[at + 1] - 128));
        }
    }
    const double variance = squares.value() - all.value() * all.value();
    std::printf("y %.1f spread %.1f colour %.1f left %.1f right %.1f top %.1f bottom %.1f\n", all.value(),
                std::sqrt(variance < 0 ? 0 : variance), colour.value(), left.value(), right.value(), top.value(),
                bottom.value());
}

}  // namespace

int main(int argc, char** argv)
{
    const int width = argc == 3 ? std::atoi(argv[1]) : 0;
    const int height = argc == 3 ? std::atoi(argv[2]) : 0;
    if (width < 2 || height < 2 || width > kGreatestSide || height > kGreatestSide)
    {
        std::fprintf(stderr, "vm-picture WIDTH HEIGHT\n");
        return 2;
    }
    std::vector<unsigned char> picture(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 2);
    while (std::fread(picture.data(), picture.size(), 1, stdin) == 1)
    {
        measure(picture, width, height);
    }
    return 0;
}
