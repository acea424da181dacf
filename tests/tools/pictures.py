"""Pictures made and read by Pillow for the tool's end-to-end test.

  pictures.py make DIR     photo-like test pictures in every input format
  pictures.py same A B     exit 0 when Pillow decodes A and B to equal RGB pixels
  pictures.py info FILE    "W H MODE"
  pictures.py tone A B     the difference of the mean grey of A and B, rounded
"""
import sys

from PIL import Image, ImageStat


def photo(w, h):
    """Gradients with hard edges and a little detail, as RGB."""
    im = Image.new("RGB", (w, h))
    im.putdata([((x * 255) // w, (y * 255) // h, ((x ^ y) * 7) & 255)
                for y in range(h) for x in range(w)])
    return im


def make(folder):
    exif = Image.Exif()
    exif[0x0112] = 6  # orientation: turn 90 degrees clockwise to show
    photo(64, 32).save(f"{folder}/rotated.jpg", quality=95, exif=exif)
    pic = photo(61, 37)
    pic.save(f"{folder}/lossless.webp", lossless=True)
    pic.save(f"{folder}/lossy.webp", quality=80)
    pic.save(f"{folder}/rgb.tif")
    pic.save(f"{folder}/lzw.tif", compression="tiff_lzw")
    pic.convert("L").save(f"{folder}/grey.tif")
    pic.convert("P", palette=Image.ADAPTIVE, colors=50).save(f"{folder}/palette.gif")
    dark = photo(320, 200).point(lambda v: v * 45 // 100)  # a dark photograph
    dark.save(f"{folder}/dark.png")
    grey = Image.new("LA", (8, 8), (100, 0))  # fully transparent grey
    grey.save(f"{folder}/grey-alpha.png")
    # Large enough that encoding at the slowest level takes a while.
    big = Image.effect_noise((2400, 1600), 60).convert("RGB")
    big.save(f"{folder}/big.bmp")


def same(a, b):
    pa, pb = Image.open(a).convert("RGB"), Image.open(b).convert("RGB")
    return pa.size == pb.size and pa.tobytes() == pb.tobytes()


def info(path):
    im = Image.open(path)
    print(im.size[0], im.size[1], im.mode)


def tone(a, b):
    def mean(path):
        return ImageStat.Stat(Image.open(path).convert("L")).mean[0]
    print(round(abs(mean(a) - mean(b))))


if __name__ == "__main__":
    command, args = sys.argv[1], sys.argv[2:]
    if command == "make":
        make(*args)
    elif command == "same":
        sys.exit(0 if same(*args) else 1)
    elif command == "info":
        info(*args)
    elif command == "tone":
        tone(*args)
