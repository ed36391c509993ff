-- Turns a document of docs/ into a page of the manual: the first heading becomes the page's title, links between the
-- documents become links between pages, and a link that would leave the manual stops the build.

local pages = {
    { document = "MANUAL.md", file = "manual.html", name = "Manual" },
    { document = "BATCH.md", file = "batch.html", name = "Batch tool" },
    { document = "MEASUREMENTS.md", file = "measurements.html", name = "Measurements" },
    { document = "PIXEL_SIZES.md", file = "pixel_sizes.html", name = "Pixel sizes" },
}

local function fileOf(document)
    for _, page in ipairs(pages) do
        if page.document == document then return page.file end
    end
    return nil
end

local title

local function takeTitle(header)
    if header.level ~= 1 then return nil end
    if title then error("a second heading of the first level: " .. pandoc.utils.stringify(header)) end
    title = header.content
    return {}
end

local function leadToPage(link)
    if link.target:match("^#") or link.target:match("^https?://") then return nil end
    local document, place = link.target:match("^([^#]*)(.*)$")
    local file = fileOf(document)
    if not file then error("a link to " .. link.target .. ", which is not a part of the manual") end
    link.target = file .. place
    return link
end

-- Browsers share out a table's width better than the lengths of the lines in the source do.
local function leaveWidthsToTheBrowser(table)
    for i, column in ipairs(table.colspecs) do table.colspecs[i] = { column[1], nil } end
    return pandoc.Div({ table }, { class = "table" })
end

local function describePage(document)
    local current = pandoc.utils.stringify(document.meta.document)
    if not title then error(current .. " has no heading of the first level") end
    document.meta.pagetitle = pandoc.MetaInlines(title)
    document.meta.pages = pandoc.MetaList({})
    for _, page in ipairs(pages) do
        document.meta.pages:insert({ file = page.file, name = page.name, current = page.document == current })
    end
    return document
end

return { { Header = takeTitle, Link = leadToPage, Table = leaveWidthsToTheBrowser }, { Pandoc = describePage } }
