// GLSL 330 core source of the stroke shader, compiled at run time by StrokeRenderer.
//
// Each instance is one `SegmentInstance` (attributes 0-4: a, b, radius, birth, colour, one per
// instance) and is drawn as a 4-vertex triangle strip: the segment's rectangle widened by
// radius + 1 pixel on every side, so that the anti-aliased fringe is never clipped. The fragment
// stage covers pixels by their distance to the segment with one pixel of linear ramp, and writes
// premultiplied colour. Uniforms: `drawableSize` in pixels, `fade` = (now, timeToLive, window),
// the same fade that `fadeFactor` in stroke_instances.h evaluates on the CPU.
#pragma once

#include <string_view>

namespace scrawlet::ink {

inline constexpr std::string_view kStrokeVertexShader = R"glsl(#version 330 core
layout(location = 0) in vec2 a;
layout(location = 1) in vec2 b;
layout(location = 2) in float radius;
layout(location = 3) in float birth;
layout(location = 4) in vec4 colour;

uniform vec2 drawableSize;
uniform vec3 fade;

out vec2 pixel;
flat out vec2 segmentA;
flat out vec2 segmentB;
flat out float segmentRadius;
flat out vec4 segmentColour;

float fadeFactor() {
    float now = fade.x;
    float ttl = fade.y;
    float window = fade.z;
    if (ttl <= 0.0) return 1.0;
    float age = now - birth;
    float hold = ttl - window;
    float f;
    if (age <= hold) f = 1.0;
    else if (age >= ttl) f = 0.0;
    else f = (ttl - age) / max(window, 1e-5);
    return clamp(f, 0.0, 1.0);
}

void main() {
    vec2 delta = b - a;
    float len = length(delta);
    // A dot has no direction; any axis draws the same disc.
    vec2 axis = len > 1e-5 ? delta / len : vec2(1.0, 0.0);
    vec2 normal = vec2(-axis.y, axis.x);
    float r = radius + 1.0;
    vec2 corner;
    if (gl_VertexID == 0) corner = a - axis * r - normal * r;
    else if (gl_VertexID == 1) corner = a - axis * r + normal * r;
    else if (gl_VertexID == 2) corner = b + axis * r - normal * r;
    else corner = b + axis * r + normal * r;
    gl_Position = vec4(corner.x / drawableSize.x * 2.0 - 1.0,
                       1.0 - corner.y / drawableSize.y * 2.0, 0.0, 1.0);
    pixel = corner;
    segmentA = a;
    segmentB = b;
    segmentRadius = radius;
    segmentColour = vec4(colour.rgb, colour.a * fadeFactor());
}
)glsl";

inline constexpr std::string_view kStrokeFragmentShader = R"glsl(#version 330 core
in vec2 pixel;
flat in vec2 segmentA;
flat in vec2 segmentB;
flat in float segmentRadius;
flat in vec4 segmentColour;

out vec4 fragColour;

void main() {
    vec2 pa = pixel - segmentA;
    vec2 ba = segmentB - segmentA;
    float denom = dot(ba, ba);
    float h = denom > 1e-10 ? clamp(dot(pa, ba) / denom, 0.0, 1.0) : 0.0;
    float d = length(pa - ba * h);
    float coverage = clamp(segmentRadius - d + 0.5, 0.0, 1.0);
    float alpha = coverage * segmentColour.a;
    fragColour = vec4(segmentColour.rgb * alpha, alpha);
}
)glsl";

// The same coverage alone, for uniting a translucent stroke's capsules under GL_MAX into a
// one-channel target before it is blended once.
inline constexpr std::string_view kStrokeCoverageFragmentShader = R"glsl(#version 330 core
in vec2 pixel;
flat in vec2 segmentA;
flat in vec2 segmentB;
flat in float segmentRadius;

out vec4 fragColour;

void main() {
    vec2 pa = pixel - segmentA;
    vec2 ba = segmentB - segmentA;
    float denom = dot(ba, ba);
    float h = denom > 1e-10 ? clamp(dot(pa, ba) / denom, 0.0, 1.0) : 0.0;
    float d = length(pa - ba * h);
    fragColour = vec4(clamp(segmentRadius - d + 0.5, 0.0, 1.0));
}
)glsl";

}  // namespace scrawlet::ink
