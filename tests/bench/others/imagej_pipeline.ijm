// Objects of an image by ImageJ: "IMAGE;NM_PER_PIXEL;TABLE". Sizes in pixels are those of 1.488 nm per pixel, scaled.
// "Watershed" makes the distances itself.
arguments = split(getArgument(), ";");
scale = 1.488 / parseFloat(arguments[1]);
open(arguments[0]);
run("Gaussian Blur...", "sigma=" + 3 * scale);
setOption("BlackBackground", false);
setAutoThreshold("Otsu");
run("Convert to Mask");
run("Watershed");
run("Set Measurements...", "area perimeter redirect=None decimal=3");
run("Analyze Particles...", "size=1-Infinity pixel display clear");
saveAs("Results", arguments[2]);
