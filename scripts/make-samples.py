# Draws the bundled sample pictures (landscape, portrait, square, grey, small) as PPM/PGM;
# they were turned into the JPEG files of samples/ with cjpeg (libjpeg-turbo-progs):
#   python3 scripts/make-samples.py landscape && cjpeg -quality 88 landscape.ppm > samples/landschaft.jpg
import math, sys
def write_ppm(name, w, h, fn, grey=False):
    with open(name, 'wb') as f:
        f.write(b'P5\n' if grey else b'P6\n')
        f.write(f'{w} {h}\n255\n'.encode())
        buf = bytearray()
        for y in range(h):
            for x in range(w):
                v = fn(x, y)
                if grey: buf.append(max(0, min(255, int(v))))
                else: buf += bytes(max(0, min(255, int(c))) for c in v)
        f.write(buf)

def landscape(x, y):  # sky, sun, hills
    w, h = 1800, 1200
    hill = h*0.62 + 60*math.sin(x/170.0) + 25*math.sin(x/53.0)
    if y > hill:
        t = (y-hill)/(h-hill)
        stripe = 18*math.sin((x+y*0.6)/9.0)
        return (40+60*t+stripe, 110+70*(1-t)+stripe, 35+20*t)
    dx, dy = x-1350, y-300
    d = math.hypot(dx, dy)
    if d < 110: return (255, 230-d*0.4, 120)
    t = y/hill
    return (90+120*t, 150+80*t, 235-30*t)

def portrait(x, y):  # concentric rings and a diagonal
    w, h = 1000, 1500
    d = math.hypot(x-w/2, y-h*0.4)
    r = 128+127*math.sin(d/14.0)
    g = 128+127*math.sin(d/23.0+1.0)
    b = 200 if abs((x - y*0.66)) < 40 else 128+100*math.cos(y/90.0)
    return (r, g, b)

def square(x, y):  # checkerboard over a colour ramp
    c = ((x//75) + (y//75)) % 2
    base = (x*255/1199, y*255/1199, 255-x*255/1199)
    return tuple(v*0.55 + (115 if c else 0) for v in base)

def grey(x, y):  # fine lines: a hard case for resampling
    v = 128+90*math.sin(x*x/9000.0) * math.cos(y/40.0)
    return v

def small(x, y):
    return (x*255/799, 128+60*math.sin(y/30.0), y*255/599)

which = sys.argv[1]
if which == 'landscape': write_ppm('landscape.ppm', 1800, 1200, landscape)
if which == 'portrait': write_ppm('portrait.ppm', 1000, 1500, portrait)
if which == 'square': write_ppm('square.ppm', 1200, 1200, square)
if which == 'grey': write_ppm('grey.pgm', 1600, 1000, grey, grey=True)
if which == 'small': write_ppm('small.ppm', 800, 600, small)
